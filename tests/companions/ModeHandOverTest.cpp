// The hand-over of a minimal mode between processes, with the real library.
#include "sessions/ModeHandOver.h"

#include <gtest/gtest.h>

#include "companions/CompanionLibrary.h"
#include "support/ChildProcess.h"
#include "support/ScopedVariable.h"
#include "support/Wait.h"

namespace vel {
namespace {

using test::ChildProcess;
using test::CompanionPath;
using test::ScopedVariable;

// Each answer is a bit of the exit code.
VEL_CHILD_MAIN(LivesInAMode) {
  const ScopedVariable product(L"VELDIR", CompanionPath(L""));
  const HANDLE go = OpenEventW(SYNCHRONIZE, FALSE, L"vel_test_mode_given");
  WaitForSingleObject(go, 20000);
  const DWORD self = GetCurrentProcessId();
  const HWND window = CreateWindowW(L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                    nullptr, nullptr, nullptr);
  int answers = get_own_min_mode() == argument ? 1 : 0;
  answers |= !query_hooks_ready(kHooksLibraryLoaded) ? 2 : 0;
  answers |= !is_hooked_process(self, false) ? 4 : 0;
  answers |= !is_hooked_window(window, false) ? 8 : 0;
  answers |= vel_ipc_connect(1) == 0 ? 16 : 0;
  answers |= CheckedVelulLoad() && CheckedVelulLoad() ? 32 : 0;
  answers |= query_hooks_ready(kHooksLibraryLoaded) ? 64 : 0;
  answers |= query_hooks_ready(kHooksSetUp) ? 128 : 0;
  answers |= query_hooks_ready(kHooksSignalled) ? 256 : 0;
  answers |= is_hooked_process(self, true) ? 512 : 0;
  answers |= is_hooked_window(window, true) ? 1024 : 0;
  return answers;
}

class ModeHandOverTest : public testing::Test {
 protected:
  // Goes on when this is set.
  const ScopedHandle _go{
      CreateEventW(nullptr, TRUE, FALSE, L"vel_test_mode_given")};
  ChildProcess _child{L"LivesInAMode", L"Quiet"};
};

TEST_F(ModeHandOverTest, AModeIsGivenOnceAndTheChildStartsInIt) {
  EXPECT_EQ(get_min_mode(_child.id()), L"");
  EXPECT_TRUE(set_min_mode(L"Quiet", _child.process()));
  EXPECT_TRUE(set_min_mode(L"qUIET", _child.process()));
  EXPECT_EQ(get_min_mode(_child.id()), L"Quiet") << "nothing has changed";
  EXPECT_FALSE(set_min_mode(L"Loud", _child.process()));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  SetEvent(_go.get());
  EXPECT_EQ(_child.Wait(), 2047u);
  EXPECT_TRUE(test::WaitUntil([&] {
    return get_min_mode(_child.id()).empty();
  })) << "the mode goes with its process";
  EXPECT_FALSE(set_min_mode(L"Quiet", nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(ModeHandOverTest, ALowIntegrityReaderGetsTheMode) {
  EXPECT_TRUE(set_min_mode(L"Quiet", _child.process()));
  SID low = {SID_REVISION,
             1,
             SECURITY_MANDATORY_LABEL_AUTHORITY,
             {SECURITY_MANDATORY_LOW_RID}};
  TOKEN_MANDATORY_LABEL label = {{&low, SE_GROUP_INTEGRITY}};
  BYTE now[64] = {};
  DWORD size = 0;
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  ScopedHandle token;
  OpenThreadToken(GetCurrentThread(), TOKEN_ALL_ACCESS, TRUE, token.put());
  SetTokenInformation(token.get(), TokenIntegrityLevel, &label, sizeof label);
  GetTokenInformation(token.get(), TokenIntegrityLevel, now, sizeof now, &size);
  const bool is_low =
      EqualSid(&low, reinterpret_cast<TOKEN_MANDATORY_LABEL*>(now)->Label.Sid);
  const std::wstring mode = get_min_mode(_child.id());
  RevertToSelf();
  EXPECT_EQ(mode, L"Quiet");
  if (!is_low) GTEST_SKIP() << "No integrity levels here.";
}

// The parent's mode goes before the own one, which nobody else gives. The child
// loads the library, which passes the mode on to its own child.
VEL_CHILD_MAIN(GivesItselfAMode) {
  if (argument == L"grandchild") {
    return get_own_min_mode() == L"Parental" ? 7 : 9;
  }
  if (argument == L"child") {
    const ScopedVariable product(L"VELDIR", CompanionPath(L""));
    if (get_own_min_mode() != L"Parental" || !CheckedVelulLoad()) return 8;
    ChildProcess child(L"GivesItselfAMode", L"grandchild");
    return static_cast<int>(child.Wait().value_or(4));
  }
  if (!set_min_mode(L"Parental", GetCurrentProcess())) return 1;
  if (get_own_min_mode() != L"Parental") return 2;
  ChildProcess child(L"GivesItselfAMode", L"child");
  return static_cast<int>(child.Wait().value_or(3));
}

TEST(ModeOfChildrenTest, AModeGoesDownToChildrenAndTheirChildren) {
  ChildProcess parent(L"GivesItselfAMode", L"parent");
  EXPECT_EQ(parent.Wait(), 7u);
}

}  // namespace
}  // namespace vel
