#include "security/VelUtilsSecurity.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "security/Tokens.h"
#include "support/ChildProcess.h"

namespace vel {
namespace {

enum ChildExit : int { kAsExpected, kRemovalFailed, kNotRefused, kOtherError };

// Whether it was enabled before; nothing when the token doesn't hold it.
std::optional<bool> SetDebugPrivilege(DWORD attributes) {
  const ScopedHandle token =
      OpenProcessTokenFor(TOKEN_ALL_ACCESS, GetCurrentProcess());
  TOKEN_PRIVILEGES wanted = {1, {{{}, attributes}}};
  TOKEN_PRIVILEGES before = {};
  DWORD size = 0;
  LookupPrivilegeValueW(nullptr, SE_DEBUG_NAME, &wanted.Privileges[0].Luid);
  SetLastError(ERROR_SUCCESS);
  AdjustTokenPrivileges(token.get(), FALSE, &wanted, sizeof before, &before,
                        &size);
  if (GetLastError() != ERROR_SUCCESS) return std::nullopt;
  return (before.Privileges[0].Attributes & SE_PRIVILEGE_ENABLED) != 0;
}

TEST(EnableDebugPrivilegeTest, EnablesWhatTheTokenHolds) {
  if (!SetDebugPrivilege(0)) GTEST_SKIP() << "needs an administrator";
  EXPECT_EQ(SetDebugPrivilege(0), false);
  EXPECT_TRUE(EnableDebugPrivilege());
  EXPECT_EQ(SetDebugPrivilege(0), true);
}

}  // namespace
}  // namespace vel
