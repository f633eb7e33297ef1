#include "security/VelUtilsSecurity.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "support/ChildProcess.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

enum ChildExit : int { kAsExpected, kRemovalFailed, kNotRefused, kOtherError };

TOKEN_PRIVILEGES DebugPrivilege(DWORD attributes) {
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = attributes;
  LookupPrivilegeValueW(nullptr, SE_DEBUG_NAME, &privileges.Privileges[0].Luid);
  return privileges;
}

ScopedHandle OwnToken() {
  ScopedHandle token;
  OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, token.put());
  return token;
}

bool SetDebugPrivilege(DWORD attributes) {
  TOKEN_PRIVILEGES privileges = DebugPrivilege(attributes);
  SetLastError(ERROR_SUCCESS);
  AdjustTokenPrivileges(OwnToken().get(), FALSE, &privileges, 0, nullptr,
                        nullptr);
  return GetLastError() == ERROR_SUCCESS;
}

bool IsDebugPrivilegeEnabled() {
  PRIVILEGE_SET wanted = {};
  wanted.PrivilegeCount = 1;
  wanted.Control = PRIVILEGE_SET_ALL_NECESSARY;
  wanted.Privilege[0] = DebugPrivilege(0).Privileges[0];
  BOOL enabled = FALSE;
  HANDLE impersonation = nullptr;
  DuplicateToken(OwnToken().get(), SecurityIdentification, &impersonation);
  const ScopedHandle token(impersonation);
  PrivilegeCheck(token.get(), &wanted, &enabled);
  return enabled != FALSE;
}

TEST(EnableDebugPrivilegeTest, EnablesWhatTheTokenHolds) {
  if (!SetDebugPrivilege(0)) GTEST_SKIP() << "needs an administrator";
  ASSERT_FALSE(IsDebugPrivilegeEnabled());
  EXPECT_TRUE(EnableDebugPrivilege());
  EXPECT_TRUE(IsDebugPrivilegeEnabled());
}

VEL_CHILD_MAIN(HasNoDebugPrivilege) {
  if (!SetDebugPrivilege(SE_PRIVILEGE_REMOVED)) return kRemovalFailed;
  if (EnableDebugPrivilege()) return kNotRefused;
  return GetLastError() == ERROR_NOT_ALL_ASSIGNED ? kAsExpected : kOtherError;
}

TEST(EnableDebugPrivilegeTest, FailsWhenTheTokenDoesNotHoldIt) {
  test::ChildProcess child(L"HasNoDebugPrivilege");
  const auto result = child.Wait();
  if (result == DWORD{kRemovalFailed}) GTEST_SKIP() << "can't drop a privilege";
  EXPECT_EQ(result, DWORD{kAsExpected});
}

}  // namespace
}  // namespace vel
