// The real SessionView.exe in a job and with a token of the test's own, and its
// facts about tokens, jobs and places that the test makes.
#include <windows.h>
#include <sddl.h>

#include <algorithm>
#include <filesystem>

#include "SessionView/Facts.h"
#include "SessionView/JobFacts.h"
#include "SessionView/TokenFacts.h"
#include "SessionView/WriteFacts.h"
#include "foundation/Registry.h"
#include "security/LocalMemory.h"
#include "security/WellKnownSids.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"
#include "tools/ToolTest.h"

namespace vel::test {
namespace {

using sessionview::Facts;
using Values = std::vector<std::wstring>;
const Values kUntold = {sessionview::kNotTold};
constexpr wchar_t kRefused[] = L"not writable, error 5";

class SessionViewTest : public ToolTest {
 protected:
  SessionViewTest() : ToolTest(L"SessionView.exe") {
    EXPECT_TRUE(
        OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, _own.put()));
  }

  // This process's token with the local logons for denying only, without a
  // privilege and, perhaps, with a restricting SID.
  ScopedHandle Restricted(PSID restricting = nullptr) {
    SID_AND_ATTRIBUTES denied = {LookupSidLocal(), 0};
    LUID_AND_ATTRIBUTES privilege = {};
    LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &privilege.Luid);
    SID_AND_ATTRIBUTES restricting_sid = {restricting, 0};
    ScopedHandle token;
    EXPECT_TRUE(CreateRestrictedToken(_own.get(), 0, 1, &denied, 1, &privilege,
                                      restricting ? 1 : 0, &restricting_sid,
                                      token.put()));
    return token;
  }
  static Values Of(const Facts& facts, const std::wstring& label) {
    for (const auto& fact : facts) {
      if (fact.label == label) return fact.values;
    }
    ADD_FAILURE() << label;
    return {};
  }
  static bool Has(const Values& values, const std::wstring& value) {
    return std::count(values.begin(), values.end(), value) != 0;
  }
  // What stands behind a label in printed lines.
  static std::string Printed(const std::string& text,
                             const std::string& label) {
    const std::size_t line = ("\n" + text).find("\n" + label);
    if (line == std::string::npos) return "no such line";
    const std::size_t value = text.find_first_not_of(' ', line + label.size());
    return text.substr(value, text.find('\r', value) - value);
  }

  ScopedHandle _own;
};

TEST_F(SessionViewTest, TellsOfTheConfinementThatItRunsIn) {
  const ScopedVariable config(L"VELCFG", L"Of a test");
  const ScopedVariable rights(L"VELRIGHTS", L"");
  const ScopedHandle job(CreateJobObjectW(nullptr, nullptr));
  const ScopedHandle token = Restricted();
  const Result result =
      Run(L"--text \"http://x.invalid/\x20AC?a b\"", {token.get(), job.get()});
  EXPECT_EQ(result.code, 0u);
  for (const auto& [label, value] :
       {std::pair{"Opened with", "http://x.invalid/\xE2\x82\xAC?a b"},
        {"VELCFG", "Of a test"},
        {"VELRIGHTS", "not set"},
        {"In a job", "yes"}}) {
    EXPECT_EQ(Printed(result.out, label), value);
  }
  EXPECT_TRUE(result.out.starts_with("Opened with"));
  EXPECT_NE(Printed(result.out, "Deny-only groups").find("(S-1-2-0)"),
            std::string::npos);
  EXPECT_EQ(result.out.find(" SeShutdownPrivilege\r\n"), std::string::npos);
  EXPECT_EQ(Printed(Run(L"--text").out, "Opened with"), "none");
  EXPECT_EQ(Printed(Run(L"--text --help").out, "Opened with"), "--help");
}

TEST_F(SessionViewTest, PrivilegesAreComparedWithTheOtherToken) {
  const ScopedHandle token = Restricted();
  const Facts facts = sessionview::token_facts(token.get(), _own.get());
  EXPECT_EQ(Of(facts, L"Privileges removed"), Values{SE_SHUTDOWN_NAME});
  const Values left = Of(facts, L"Privileges left");
  EXPECT_TRUE(Has(left, SE_CHANGE_NOTIFY_NAME));
  EXPECT_FALSE(Has(left, SE_SHUTDOWN_NAME));
  const Facts alone = sessionview::token_facts(_own.get(), nullptr);
  EXPECT_EQ(Of(alone, L"Privileges removed"), kUntold);
  EXPECT_TRUE(Has(Of(alone, L"Privileges left"), SE_SHUTDOWN_NAME));
}

TEST_F(SessionViewTest, IntegrityAndRestrictingSidsAreTold) {
  const ScopedHandle token = Restricted(LookupSidInteractive());
  SID low = {1, 1, SECURITY_MANDATORY_LABEL_AUTHORITY, {0x1000}};
  TOKEN_MANDATORY_LABEL label = {{&low, SE_GROUP_INTEGRITY}};
  ASSERT_TRUE(SetTokenInformation(token.get(), TokenIntegrityLevel, &label,
                                  sizeof label + sizeof low));
  const Facts facts = sessionview::token_facts(token.get(), nullptr);
  const Values integrity = Of(facts, L"Integrity level");
  const Values restricting = Of(facts, L"Restricting SIDs");
  const Values restricted = Of(facts, L"Restricted token");
  if (integrity == kUntold || restricting == kUntold || restricted == kUntold) {
    GTEST_SKIP() << "this system has no integrity levels or restricting SIDs";
  }
  EXPECT_EQ(integrity, Values{L"Low (0x1000)"});
  EXPECT_NE(restricting[0].find(L"S-1-5-4"), std::wstring::npos);
  EXPECT_EQ(restricted, Values{L"yes"});
  const Facts own = sessionview::token_facts(_own.get(), nullptr);
  EXPECT_EQ(Of(own, L"Restricting SIDs"), Values{L"none"});
}

TEST_F(SessionViewTest, LimitsAndLevelsHaveNames) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  EXPECT_EQ(sessionview::limit_names(limits), Values{L"none"});
  limits.BasicLimitInformation.LimitFlags =
      JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_ACTIVE_PROCESS |
      JOB_OBJECT_LIMIT_JOB_TIME | 0x80000000;
  limits.BasicLimitInformation.ActiveProcessLimit = 3;
  limits.BasicLimitInformation.PerJobUserTimeLimit.QuadPart = 20000000;
  EXPECT_EQ(sessionview::limit_names(limits),
            (Values{L"KILL_ON_JOB_CLOSE", L"ACTIVE_PROCESS 3",
                    L"JOB_TIME, ms: 2000", L"0x80000000"}));
  EXPECT_EQ(sessionview::ui_limit_names(JOB_OBJECT_UILIMIT_READCLIPBOARD | 128),
            (Values{L"READCLIPBOARD", L"EXITWINDOWS"}));
  EXPECT_EQ(sessionview::integrity_name(0), L"Untrusted (0x0000)");
  EXPECT_EQ(sessionview::integrity_name(0x1FFF), L"Low (0x1fff)");
  EXPECT_EQ(sessionview::integrity_name(0x2000), L"Medium (0x2000)");
}

TEST_F(SessionViewTest, LimitsOfAJobAreReadBack) {
  const ScopedHandle job(CreateJobObjectW(nullptr, nullptr));
  const Facts unlimited = sessionview::job_facts(job.get());
  EXPECT_EQ(Of(unlimited, L"Job's processes"), Values{L"0"});
  JOBOBJECT_BASIC_LIMIT_INFORMATION limits = {};
  limits.LimitFlags = JOB_OBJECT_LIMIT_BREAKAWAY_OK;
  SetInformationJobObject(job.get(), JobObjectBasicLimitInformation, &limits,
                          sizeof limits);
  JOBOBJECT_BASIC_UI_RESTRICTIONS ui = {JOB_OBJECT_UILIMIT_DESKTOP};
  SetInformationJobObject(job.get(), JobObjectBasicUIRestrictions, &ui,
                          sizeof ui);
  const Facts limited = sessionview::job_facts(job.get());
  const Values told = Of(limited, L"Job's limits");
  if (told == kUntold) {
    EXPECT_EQ(Of(unlimited, L"Job's limits"), kUntold);
    EXPECT_EQ(Of(limited, L"Job's UI restrictions"), kUntold);
    GTEST_SKIP() << "this system tells no limits of a job";
  }
  EXPECT_EQ(told, Values{L"BREAKAWAY_OK"});
  EXPECT_EQ(Of(limited, L"Job's UI restrictions"), Values{L"DESKTOP"});
  EXPECT_EQ(Of(unlimited, L"Job's limits"), Values{L"none"});
}

TEST_F(SessionViewTest, WritingIsTriedAndLeavesNothing) {
  EXPECT_EQ(sessionview::try_folder(_scratch.path()), L"writable");
  EXPECT_TRUE(std::filesystem::is_empty(_scratch.path()));
  EXPECT_EQ(sessionview::try_folder(_scratch.File(L"none")),
            L"not writable, error 3");
  const ScopedRegistry registry;
  const RegKeyHolder key = RegOpen(HKEY_CURRENT_USER, L"Own", true, 0);
  EXPECT_EQ(sessionview::try_key(HKEY_CURRENT_USER, L"Own"), L"writable");
  DWORD keys = 1;
  RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &keys, nullptr,
                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(keys, 0u);
  EXPECT_EQ(sessionview::try_key(HKEY_CURRENT_USER, L"none"),
            L"not writable, error 2");
}

TEST_F(SessionViewTest, WhatIsForReadingIsNotWritable) {
  ScopedDescriptor reading;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
      L"D:P(A;;GRSDWD;;;WD)", SDDL_REVISION_1, reading.put(), nullptr));
  const ScopedRegistry registry;
  const RegKeyHolder key = RegOpen(HKEY_CURRENT_USER, L"Own", true, 0);
  RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, reading.get());
  EXPECT_EQ(sessionview::try_key(HKEY_CURRENT_USER, L"Own"), kRefused);

  const std::wstring folder = _scratch.File(L"read");
  CreateDirectoryW(folder.c_str(), nullptr);
  ASSERT_TRUE(SetFileSecurityW(folder.c_str(), DACL_SECURITY_INFORMATION,
                               reading.get()));
  const std::wstring result = sessionview::try_folder(folder);
  if (result == L"writable") {
    GTEST_SKIP() << "this user may write to any folder";
  }
  EXPECT_EQ(result, kRefused);
}

}  // namespace
}  // namespace vel::test
