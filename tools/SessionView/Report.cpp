#include "SessionView/Report.h"

#include "SessionView/Facts.h"
#include "SessionView/JobFacts.h"
#include "SessionView/TokenFacts.h"
#include "SessionView/WriteFacts.h"
#include "foundation/Environment.h"

namespace sessionview {
namespace {

constexpr wchar_t kConfiguration[] = L"VELCFG";
// What the session and the tray set for their programs.
constexpr const wchar_t* kVariables[] = {kConfiguration, L"VELRIGHTS",
                                         L"VELDIR", L"VELLOG", L"VELLOGFLAGS"};

Facts variable_facts() {
  Facts facts;
  for (const wchar_t* const name : kVariables) {
    const std::wstring value = vel::process_env(name);
    facts.push_back({name, {value.empty() ? L"not set" : value}});
  }
  return facts;
}

}  // namespace

std::wstring make_report(const std::vector<std::wstring>& opened_with) {
  return format_facts({{{L"Opened with", or_none(opened_with)}},
                       variable_facts(),
                       write_facts(),
                       own_job_facts(),
                       own_token_facts()});
}

std::wstring configuration() {
  return vel::process_env(kConfiguration);
}

}  // namespace sessionview
