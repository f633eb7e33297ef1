#include "session/SessionJob.h"

#include "common/DebugReport.h"
#include "session/BuildKind.h"
#include "session/InheritedHandle.h"
#include "session/ReducedToken.h"
#include "session/SessionEnvironment.h"
#include "session/SessionWindows.h"

namespace velul {
namespace {

using companion::debug_report;
using companion::UniqueHandle;

constexpr wchar_t kLibrary[] = L"session";

bool kill_on_close(HANDLE job) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  return SetInformationJobObject(job, JobObjectExtendedLimitInformation,
                                 &limits, sizeof limits) != FALSE;
}

// Errors that say that processes can't be started with another token at all.
bool means_no_tokens(DWORD error) {
  return error == ERROR_PRIVILEGE_NOT_HELD ||
         error == ERROR_CALL_NOT_IMPLEMENTED || error == ERROR_NOT_SUPPORTED;
}

}  // namespace

std::shared_ptr<SessionJob> SessionJob::create(const wchar_t* config) {
  std::shared_ptr<SessionJob> result(new SessionJob);
  result->_config = config ? config : L"";
  result->_job.reset(CreateJobObjectW(nullptr, nullptr));
  if (!result->_job || !kill_on_close(result->_job.get())) return nullptr;
  if (kReducedBuild) return result;
  result->_low_integrity = wants_low_integrity(result->_config.c_str());
  result->_token = make_reduced_token(result->_low_integrity);
  if (!result->_token) {
    debug_report(kLibrary, L"the reduced token", GetLastError());
  }
  return result;
}

const wchar_t* SessionJob::rights() const {
  if (!_token || _token_refused) return L"user";
  return _low_integrity ? L"low" : L"reduced";
}

DWORD SessionJob::start_process(const ProcessStart& start,
                                UniqueHandle* process) {
  const DWORD error = start_with_flags(start, 0, process);
  if (error != ERROR_ACCESS_DENIED) return error;
  // Before Windows 8 a process can't be in two jobs: when this one is in a job
  // its children are too, unless they break away.
  return start_with_flags(start, CREATE_BREAKAWAY_FROM_JOB, process);
}

DWORD SessionJob::start_with_flags(const ProcessStart& start, DWORD flags,
                                   UniqueHandle* process) {
  PROCESS_INFORMATION info = {};
  if (const DWORD error = create_suspended(start, flags, &info)) return error;
  UniqueHandle started(info.hProcess);
  const UniqueHandle thread(info.hThread);
  if (!AssignProcessToJobObject(_job.get(), started.get())) {
    const DWORD error = GetLastError();
    TerminateProcess(started.get(), error);
    return error;
  }
  ResumeThread(thread.get());
  if (process) *process = std::move(started);
  return ERROR_SUCCESS;
}

DWORD SessionJob::create_suspended(const ProcessStart& start, DWORD flags,
                                   PROCESS_INFORMATION* info) {
  const InheritedHandle inherited(start.inherited);
  if (!inherited.usable()) return GetLastError();
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof startup;
  startup.lpAttributeList = inherited.list();
  if (_token && !_token_refused) {
    if (create_process(_token.get(), start, flags, &startup, info)) return 0;
    const DWORD error = GetLastError();
    if (!means_no_tokens(error)) return error;
    debug_report(kLibrary, L"a start with reduced rights", error);
    _token_refused = true;
  }
  return create_process(nullptr, start, flags, &startup, info) ? ERROR_SUCCESS
                                                               : GetLastError();
}

BOOL SessionJob::create_process(HANDLE token, const ProcessStart& start,
                                DWORD flags, STARTUPINFOEXW* startup,
                                PROCESS_INFORMATION* info) {
  std::wstring command_line = start.command_line;
  std::wstring environment =
      make_environment({{L"VELCFG", _config}, {L"VELRIGHTS", rights()}});
  flags |= CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT | CREATE_NEW_CONSOLE |
           CREATE_DEFAULT_ERROR_MODE | EXTENDED_STARTUPINFO_PRESENT;
  const BOOL inherit = start.inherited != nullptr;
  const wchar_t* const directory =
      start.directory.empty() ? nullptr : start.directory.c_str();
  if (!token) {
    return CreateProcessW(nullptr, command_line.data(), nullptr, nullptr,
                          inherit, flags, environment.data(), directory,
                          &startup->StartupInfo, info);
  }
  return CreateProcessAsUserW(token, nullptr, command_line.data(), nullptr,
                              nullptr, inherit, flags, environment.data(),
                              directory, &startup->StartupInfo, info);
}

DWORD SessionJob::active_processes() const {
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION accounting = {};
  QueryInformationJobObject(_job.get(), JobObjectBasicAccountingInformation,
                            &accounting, sizeof accounting, nullptr);
  return accounting.ActiveProcesses;
}

int SessionJob::close_windows() const {
  return post_close_to_windows(_job.get());
}

void SessionJob::terminate(UINT status) const {
  if (!TerminateJobObject(_job.get(), status)) {
    debug_report(kLibrary, L"ending the processes", GetLastError());
  }
  constexpr DWORD kPoll = 10;
  for (DWORD waited = 0; waited < kEndTimeout && active_processes() != 0;
       waited += kPoll) {
    Sleep(kPoll);
  }
}

}  // namespace velul
