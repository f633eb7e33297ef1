#include "security/RestrictedAccount.h"

#include <gtest/gtest.h>

#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "security/AccountSids.h"
#include "security/AclText.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScopedVariable.h"

namespace vel {
namespace {

constexpr wchar_t kSidText[] = L"S-1-5-21-1-2-3-4711";
constexpr wchar_t kPublished[] = L"RestrictedGroupInitSid";

// The SID is kept for the life of a process, so each case has its own.
int RunChild(const wchar_t* name, const std::wstring& argument = L"") {
  test::ChildProcess child(name, argument);
  return static_cast<int>(child.Wait().value_or(100));
}

std::vector<BYTE> MachineValue() {
  return RegGetBinary(HKEY_LOCAL_MACHINE, kProductKey, kRestrictedGroupSidValue,
                      kRegViewDefault);
}

std::wstring UserValue() {
  return RegGetString(HKEY_CURRENT_USER, kProductKey, kPublished,
                      kRegViewDefault);
}

// Puts a SID in place of what the machine and the user have, and both back.
class RestrictedAccountTest : public ::testing::Test {
 public:
  RestrictedAccountTest() { Write({}, L""); }
  ~RestrictedAccountTest() override { Write(_machine, _user); }

  static void Write(const std::vector<BYTE>& machine,
                    const std::wstring& user) {
    RegRemoveValue(HKEY_LOCAL_MACHINE, kProductKey, kRestrictedGroupSidValue,
                   kRegViewDefault);
    RegRemoveValue(HKEY_CURRENT_USER, kProductKey, kPublished, kRegViewDefault);
    if (!machine.empty()) {
      RegSetBinary(HKEY_LOCAL_MACHINE, kProductKey, kRestrictedGroupSidValue,
                   machine);
    }
    if (!user.empty()) {
      RegSetString(HKEY_CURRENT_USER, kProductKey, kPublished, user,
                   kRegViewDefault);
    }
  }

  const std::vector<BYTE> _machine = MachineValue();
  const std::wstring _user = UserValue();
};

VEL_CHILD_MAIN(WithoutGroup) {
  SetLastError(4711);
  if (LookupSidVel() != nullptr) return 77;
  if (GetLastError() != 4711) return 1;
  const test::LogCapture log;
  init_group(true);
  if (!log.Contains(4, L"init_group: LookupSidVel failed")) return 2;
  if (!UserValue().empty()) return 3;
  return create_group() ? 4 : 0;
}

TEST_F(RestrictedAccountTest, WithoutTheGroupNothingIsTouched) {
  const int result = RunChild(L"WithoutGroup");
  if (result == 77 || result == 4) GTEST_SKIP() << "the group can be made here";
  EXPECT_EQ(result, 0);
}

VEL_CHILD_MAIN(WithGroup) {
  const test::ScopedVariable temp(L"TEMP", argument);
  const PSID sid = LookupSidVel();
  if (sid == nullptr || test::SidText(sid) != kSidText) return 1;
  RestrictedAccountTest::Write({}, L"");
  if (LookupSidVel() != sid) return 2;
  if (!create_group() || MachineValue().size() != GetLengthSid(sid)) return 3;
  const test::LogCapture log;
  init_group(false);
  if (UserValue() != kSidText) return 4;
  return log.Contains(
             4, std::wstring(L"init_group: complete for '") + kSidText + L"'")
             ? 0
             : 5;
}

TEST_F(RestrictedAccountTest, TheRegisteredSidIsPublishedAndGranted) {
  BYTE sid[SECURITY_MAX_SID_SIZE] = {};
  PSID made = nullptr;
  ASSERT_TRUE(ConvertStringSidToSidW(kSidText, &made));
  CopySid(sizeof sid, sid, made);
  LocalFree(made);
  Write(std::vector<BYTE>(sid, sid + GetLengthSid(sid)), L"");
  if (MachineValue().empty()) GTEST_SKIP() << "needs an administrator";
  const test::ScratchDirectory temp;
  EXPECT_EQ(RunChild(L"WithGroup", temp.path()), 0);
  EXPECT_TRUE(test::FileExists(temp.File(L"VelTmp\\vel_acc_10100000")));
  EXPECT_TRUE(test::FileExists(temp.File(L"vel_acc_80100000")));
}

TEST_F(RestrictedAccountTest, RemainsAreRemovedAlsoWhereThereAreNone) {
  const std::wstring key = std::wstring(kProductKeyPrefix) + L"Account";
  RegSetDword(HKEY_CURRENT_USER, key + L"\\Deep", L"x", 1, kRegViewDefault);
  EXPECT_TRUE(delete_account());
  EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, key, kRegViewDefault));
  EXPECT_TRUE(delete_account());
  EXPECT_TRUE(delete_old_service());
}

}  // namespace
}  // namespace vel
