// The exports beside VelCreateSession, each in a process of its own, since a
// process takes a minimal mode for good.
#include <gtest/gtest.h>

#include "companions/CompanionLibrary.h"
#include "support/ChildProcess.h"
#include "vel/IVelSession.h"

namespace vel::test {
namespace {

struct Exports {
  explicit Exports(const std::wstring& name)
      : library(name),
        init_min_mode(library.Get<InitMinModeFn>(VEL_INIT_MIN_MODE_EXPORT)),
        hooks(library.Get<VelQueryInitHooksParamFn>(
            VEL_QUERY_INIT_HOOKS_PARAM_EXPORT)),
        ipc_connect(library.Get<VelIpcConnectFn>(VEL_IPC_CONNECT_EXPORT)) {}

  CompanionLibrary library;
  InitMinModeFn* init_min_mode;
  VelQueryInitHooksParamFn* hooks;
  VelIpcConnectFn* ipc_connect;
};

bool OwnHookEventIsSignalled() {
  wchar_t name[32];
  _snwprintf(name, 32, L"VELUL_%x", GetCurrentProcessId());
  const HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, name);
  if (!event) return false;
  const bool signalled = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
  CloseHandle(event);
  return signalled;
}

// 0, or the last error of a refusal.
DWORD InitResult(const Exports& exports, const wchar_t* mode) {
  SetLastError(ERROR_SUCCESS);
  return exports.init_min_mode(mode) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

VEL_CHILD_MAIN(TakesAMinimalMode) {
  const Exports exports(L"VELUL_MIN\\VELUL.dll");
  EXPECT_EQ(InitResult(exports, nullptr), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(InitResult(exports, L""), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(InitResult(exports, std::wstring(300, L'x').c_str()),
            DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(*exports.hooks(), 0u);
  EXPECT_FALSE(OwnHookEventIsSignalled());

  EXPECT_EQ(InitResult(exports, L"Minimal"), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(*exports.hooks(), 1u);
  EXPECT_TRUE(OwnHookEventIsSignalled());
  EXPECT_EQ(InitResult(exports, L"MINIMAL"), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(InitResult(exports, L"Other"), DWORD{ERROR_ALREADY_EXISTS});
  return testing::Test::HasFailure();
}

VEL_CHILD_MAIN(HasTheFullBuild) {
  const Exports exports(L"VELUL.dll");
  EXPECT_EQ(InitResult(exports, L"Minimal"), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
  EXPECT_EQ(*exports.hooks(), 0u);
  SetLastError(ERROR_SUCCESS);
  EXPECT_EQ(exports.ipc_connect(1), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
  return testing::Test::HasFailure();
}

namespace {

TEST(HookExports, TheReducedBuildTakesOneModeForGood) {
  EXPECT_EQ(ChildProcess(L"TakesAMinimalMode").Wait(), 0u);
}

TEST(HookExports, TheFullBuildSaysWhatItDoesNotOffer) {
  EXPECT_EQ(ChildProcess(L"HasTheFullBuild").Wait(), 0u);
}

}  // namespace
}  // namespace vel::test
