// The new process that a shutdown for a restart asks for.
#include <gtest/gtest.h>
#include <windows.h>

#include "process/ScratchProgram.h"
#include "process/VELGUI.h"
#include "support/ChildProcess.h"
#include "sync/ScopedHandle.h"
#include "tray/EntryHooks.h"

namespace vel {
namespace {

using test::ChildProcess;
using test::ScopedEnvironment;

constexpr wchar_t kEventVariable[] = L"VELTEST_RESTARTED_EVENT";

VEL_CHILD_MAIN(AsksForARestart) {
  request_restart();
  return vel_entry(GetModuleHandleW(nullptr));
}

// The entry starts its own program anew, without arguments: here the test
// program, which is told through its environment to run this case alone.
TEST(RestartTest, DISABLED_IsTheNewProcess) {
  wchar_t name[64] = {};
  GetEnvironmentVariableW(kEventVariable, name, ARRAYSIZE(name));
  EXPECT_FALSE(ScopedHandle(OpenMutexW(SYNCHRONIZE, FALSE, L"VELGUI_RUNNING")))
      << "the old process still counts as running";
  const ScopedHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, name));
  if (!HasFailure()) SetEvent(event.get());
}

TEST(RestartTest, StartsTheProgramAnewOnceTheOldOneIsDone) {
  const std::wstring name =
      L"VelTestRestarted" + std::to_wstring(GetCurrentProcessId());
  const ScopedHandle restarted(
      CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
  const ScopedEnvironment event(kEventVariable, name);
  const ScopedEnvironment filter(L"GTEST_FILTER",
                                 L"RestartTest.DISABLED_IsTheNewProcess");
  const ScopedEnvironment disabled(L"GTEST_ALSO_RUN_DISABLED_TESTS", L"1");
  auto old_process =
      ChildProcess::Start(L"\"" + test::TestProgramPath() +
                          L"\" --vel-child AsksForARestart /askpref=\"1\"");
  EXPECT_EQ(old_process.Wait(), DWORD{kExitDone});
  EXPECT_EQ(WaitForSingleObject(restarted.get(), 60000), WAIT_OBJECT_0);
}

}  // namespace
}  // namespace vel
