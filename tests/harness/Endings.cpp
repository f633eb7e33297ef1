// Ways in which a test program can end. check_endings.cmake runs each by
// itself and knows which one may pass.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>

#include "support/ChildProcess.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

VEL_CHILD_MAIN(Sleeps) {
  Sleep(INFINITE);
  return 0;
}

VEL_CHILD_MAIN(KillsAProcess) {
  const ScopedHandle process(
      OpenProcess(PROCESS_TERMINATE, FALSE, std::stoul(argument)));
  return TerminateProcess(process.get(), 0) ? 0 : 1;
}

TEST(Endings, Passes) {
  EXPECT_TRUE(true);
}
TEST(Endings, Fails) {
  EXPECT_TRUE(false);
}
TEST(Endings, Breakpoint) {
  __debugbreak();
}
TEST(Endings, BuiltinTrap) {
  __builtin_trap();
}
TEST(Endings, AccessViolation) {
  volatile std::uintptr_t nowhere = 64;
  *reinterpret_cast<volatile int*>(nowhere) = 1;
}
TEST(Endings, Terminate) {
  std::terminate();
}
TEST(Endings, Exit) {
  std::exit(0);
}
TEST(Endings, ImmediateExit) {
  _exit(0);
}
TEST(Endings, ExitProcess) {
  ::ExitProcess(0);
}
TEST(Endings, TerminateProcess) {
  ::TerminateProcess(GetCurrentProcess(), 0);
}

TEST(Endings, KilledByAnother) {
  test::ChildProcess(L"KillsAProcess", std::to_wstring(GetCurrentProcessId()))
      .Wait();
}

TEST(Endings, ChildIsKilled) {
  test::ChildProcess child(L"Sleeps");
  child.Kill(0);
  EXPECT_EQ(child.Wait(), 0u);
}

TEST(Endings, PassesOnlyOnce) {
  static bool again = false;
  if (again) ::ExitProcess(0);
  again = true;
}

}  // namespace
}  // namespace vel
