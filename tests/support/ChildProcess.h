// Child processes of a test: the test program itself, started again to run one
// named function instead of the tests.
#ifndef VEL_TESTS_SUPPORT_CHILDPROCESS_H_
#define VEL_TESTS_SUPPORT_CHILDPROCESS_H_

#include <windows.h>

#include <optional>
#include <string>

#include "sync/ScopedHandle.h"

namespace vel::test {

// The body of a child; its result is what ChildProcess::Wait returns.
// `argument` is what ChildProcess was given.
using ChildMain = int (*)(const std::wstring& argument);

struct ChildRegistration {
  ChildRegistration(const wchar_t* name, ChildMain main);
};

// Defines a child: VEL_CHILD_MAIN(HoldsLock) { ...; return 0; }
#define VEL_CHILD_MAIN(name)                                            \
  static int VelChild_##name(const std::wstring& argument);             \
  static const ::vel::test::ChildRegistration vel_child_##name##_entry( \
      L"" #name, &VelChild_##name);                                     \
  static int VelChild_##name([[maybe_unused]] const std::wstring& argument)

// Runs the child that the command line names and returns the exit code for it,
// or nothing when this process is no child. For the test program's entry.
std::optional<int> RunAsChild(int argc, wchar_t** argv);

// A running process, killed at the end of the scope if it still runs.
class [[nodiscard]] ChildProcess {
 public:
  // The test program as the child `name`.
  [[nodiscard]] explicit ChildProcess(const std::wstring& name,
                                      const std::wstring& argument = L"");
  ~ChildProcess();
  ChildProcess(ChildProcess&&) = default;

  // Any program. `command_line` is used whole; environment and directory are
  // this process's.
  static ChildProcess Start(const std::wstring& command_line);

  // Its exit code, all 32 bits, or nothing when it still runs after the time. A
  // child that has ended with 0 but whose body hasn't returned gives nothing
  // too.
  std::optional<DWORD> Wait(DWORD timeout_ms = 30000);
  void Kill(UINT exit_code = 1);
  HANDLE process() const { return _process.get(); }
  DWORD id() const { return _id; }

 private:
  ChildProcess() = default;
  void Launch(std::wstring command_line);

  bool _is_child = false;
  ScopedHandle _process;
  DWORD _id = 0;
};

std::wstring TestProgramPath();

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_CHILDPROCESS_H_
