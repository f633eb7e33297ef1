#include "SessionView/JobFacts.h"

#include "foundation/Text.h"
#include "sync/ScopedHandle.h"

namespace sessionview {
namespace {

using Limits = JOBOBJECT_EXTENDED_LIMIT_INFORMATION;
using UiLimits = JOBOBJECT_BASIC_UI_RESTRICTIONS;

template <class Information>
bool query(HANDLE job, JOBOBJECTINFOCLASS kind, Information& information) {
  return QueryInformationJobObject(job, kind, &information, sizeof information,
                                   nullptr) != FALSE;
}

// A system that forgets a limit which was just set tells of no job's limits.
template <class Information>
bool is_kept(JOBOBJECTINFOCLASS kind, Information set, DWORD flag,
             DWORD (*flags_of)(const Information&)) {
  const vel::ScopedHandle job(CreateJobObjectW(nullptr, nullptr));
  Information kept = {};
  return job && SetInformationJobObject(job.get(), kind, &set, sizeof set) &&
         query(job.get(), kind, kept) && (flags_of(kept) & flag) != 0;
}

DWORD limit_flags(const Limits& limits) {
  return limits.BasicLimitInformation.LimitFlags;
}
bool are_limits_kept() {
  Limits set = {};
  set.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  return is_kept(JobObjectExtendedLimitInformation, set,
                 JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE, &limit_flags);
}

DWORD ui_flags(const UiLimits& limits) {
  return limits.UIRestrictionsClass;
}
bool are_ui_limits_kept() {
  const UiLimits set = {JOB_OBJECT_UILIMIT_HANDLES};
  return is_kept(JobObjectBasicUIRestrictions, set, JOB_OBJECT_UILIMIT_HANDLES,
                 &ui_flags);
}

struct LimitName {
  DWORD flag;
  const wchar_t* name;
  // What stands behind the name; null for a limit without a number.
  unsigned long long (*number)(const Limits& limits) = nullptr;
};

constexpr LONGLONG kTicksInAMillisecond = 10000;
unsigned long long milliseconds(const LARGE_INTEGER& time) {
  return static_cast<unsigned long long>(time.QuadPart / kTicksInAMillisecond);
}

// The system's names, which an administrator can look up.
constexpr LimitName kLimitNames[] = {
    {JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE, L"KILL_ON_JOB_CLOSE"},
    {JOB_OBJECT_LIMIT_BREAKAWAY_OK, L"BREAKAWAY_OK"},
    {JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK, L"SILENT_BREAKAWAY_OK"},
    {JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION,
     L"DIE_ON_UNHANDLED_EXCEPTION"},
    {JOB_OBJECT_LIMIT_ACTIVE_PROCESS, L"ACTIVE_PROCESS",
     [](const Limits& limits) -> unsigned long long {
       return limits.BasicLimitInformation.ActiveProcessLimit;
     }},
    {JOB_OBJECT_LIMIT_PROCESS_MEMORY, L"PROCESS_MEMORY, bytes:",
     [](const Limits& limits) -> unsigned long long {
       return limits.ProcessMemoryLimit;
     }},
    {JOB_OBJECT_LIMIT_JOB_MEMORY, L"JOB_MEMORY, bytes:",
     [](const Limits& limits) -> unsigned long long {
       return limits.JobMemoryLimit;
     }},
    {JOB_OBJECT_LIMIT_PROCESS_TIME, L"PROCESS_TIME, ms:",
     [](const Limits& limits) {
       return milliseconds(
           limits.BasicLimitInformation.PerProcessUserTimeLimit);
     }},
    {JOB_OBJECT_LIMIT_JOB_TIME, L"JOB_TIME, ms:",
     [](const Limits& limits) {
       return milliseconds(limits.BasicLimitInformation.PerJobUserTimeLimit);
     }},
    {JOB_OBJECT_LIMIT_WORKINGSET, L"WORKINGSET"},
    {JOB_OBJECT_LIMIT_AFFINITY, L"AFFINITY"},
    {JOB_OBJECT_LIMIT_PRIORITY_CLASS, L"PRIORITY_CLASS"},
    {JOB_OBJECT_LIMIT_SCHEDULING_CLASS, L"SCHEDULING_CLASS"},
    {JOB_OBJECT_LIMIT_PRESERVE_JOB_TIME, L"PRESERVE_JOB_TIME"},
};
constexpr LimitName kUiLimitNames[] = {
    {JOB_OBJECT_UILIMIT_HANDLES, L"HANDLES"},
    {JOB_OBJECT_UILIMIT_READCLIPBOARD, L"READCLIPBOARD"},
    {JOB_OBJECT_UILIMIT_WRITECLIPBOARD, L"WRITECLIPBOARD"},
    {JOB_OBJECT_UILIMIT_SYSTEMPARAMETERS, L"SYSTEMPARAMETERS"},
    {JOB_OBJECT_UILIMIT_DISPLAYSETTINGS, L"DISPLAYSETTINGS"},
    {JOB_OBJECT_UILIMIT_GLOBALATOMS, L"GLOBALATOMS"},
    {JOB_OBJECT_UILIMIT_DESKTOP, L"DESKTOP"},
    {JOB_OBJECT_UILIMIT_EXITWINDOWS, L"EXITWINDOWS"},
};

// What isn't in the table is told as a number.
template <std::size_t size>
std::vector<std::wstring> names_of(DWORD flags, const LimitName (&names)[size],
                                   const Limits& limits) {
  std::vector<std::wstring> result;
  for (const LimitName& each : names) {
    if ((flags & each.flag) == 0) continue;
    flags &= ~each.flag;
    result.push_back(
        each.number == nullptr
            ? std::wstring(each.name)
            : vel::FormatWide(L"%s %I64u", each.name, each.number(limits)));
  }
  if (flags != 0) result.push_back(vel::FormatWide(L"0x%x", flags));
  return or_none(result);
}

std::vector<std::wstring> limits_of(HANDLE job) {
  Limits limits = {};
  if (!query(job, JobObjectExtendedLimitInformation, limits) ||
      (limit_flags(limits) == 0 && !are_limits_kept())) {
    return {kNotTold};
  }
  return limit_names(limits);
}

std::vector<std::wstring> ui_limits_of(HANDLE job) {
  UiLimits limits = {};
  if (!query(job, JobObjectBasicUIRestrictions, limits) ||
      (ui_flags(limits) == 0 && !are_ui_limits_kept())) {
    return {kNotTold};
  }
  return ui_limit_names(ui_flags(limits));
}

}  // namespace

std::vector<std::wstring> limit_names(const Limits& limits) {
  return names_of(limit_flags(limits), kLimitNames, limits);
}

std::vector<std::wstring> ui_limit_names(DWORD flags) {
  return names_of(flags, kUiLimitNames, {});
}

Facts job_facts(HANDLE job) {
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION accounting = {};
  const bool counted =
      query(job, JobObjectBasicAccountingInformation, accounting);
  return {{L"Job's limits", limits_of(job)},
          {L"Job's UI restrictions", ui_limits_of(job)},
          {L"Job's processes",
           {counted ? vel::FormatWide(L"%u", accounting.ActiveProcesses)
                    : kNotTold}}};
}

Facts own_job_facts() {
  BOOL in_job = FALSE;
  if (!IsProcessInJob(GetCurrentProcess(), nullptr, &in_job)) {
    return {{L"In a job", {kNotTold}}};
  }
  Facts facts = {{L"In a job", {in_job ? L"yes" : L"no"}}};
  if (in_job) {
    for (Fact& fact : job_facts(nullptr)) facts.push_back(std::move(fact));
  }
  return facts;
}

}  // namespace sessionview
