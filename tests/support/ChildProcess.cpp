#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <map>

namespace vel::test {
namespace {

constexpr wchar_t kChildMarker[] = L"--vel-child";
// The exit code of a child whose body has returned 0. A process that something
// else ends can have 0 too.
constexpr int kReturnedZero = 0x5EED;

std::map<std::wstring, ChildMain>& Children() {
  static std::map<std::wstring, ChildMain> children;
  return children;
}

// A child that traps ends with the exception's code at once, with no debugger
// and no report in between.
LONG WINAPI EndWithItsCode(EXCEPTION_POINTERS* exception) {
  TerminateProcess(GetCurrentProcess(),
                   exception->ExceptionRecord->ExceptionCode);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

ChildRegistration::ChildRegistration(const wchar_t* name, ChildMain main) {
  Children()[name] = main;
}

std::optional<int> RunAsChild(int argc, wchar_t** argv) {
  if (argc < 3 || std::wstring(argv[1]) != kChildMarker) return std::nullopt;
  const auto child = Children().find(argv[2]);
  if (child == Children().end()) return 1000;
  SetUnhandledExceptionFilter(EndWithItsCode);
  const int code = child->second(argc > 3 ? argv[3] : L"");
  return code == 0 ? kReturnedZero : code;
}

std::wstring TestProgramPath() {
  wchar_t path[1024];
  return {path, GetModuleFileNameW(nullptr, path, 1024)};
}

ChildProcess::ChildProcess(const std::wstring& name,
                           const std::wstring& argument)
    : _is_child(true) {
  Launch(L"\"" + TestProgramPath() + L"\" " + kChildMarker + L" " + name +
         L" \"" + argument + L"\"");
}

ChildProcess ChildProcess::Start(const std::wstring& command_line) {
  ChildProcess child;
  child.Launch(command_line);
  return child;
}

ChildProcess::~ChildProcess() {
  Kill();
  Wait(5000);
}

void ChildProcess::Launch(std::wstring command_line) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info = {};
  const auto start = [&] {
    return CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, FALSE,
                          0, nullptr, nullptr, &startup, &info) != FALSE;
  };
  bool started = start();
  // A busy Wine fails in this way once in some hundred starts.
  if (!started && GetLastError() == ERROR_INTERNAL_ERROR) {
    Sleep(200);
    started = start();
  }
  EXPECT_TRUE(started) << "CreateProcessW failed: " << GetLastError();
  if (started) CloseHandle(info.hThread);
  _process.reset(info.hProcess);
  _id = info.dwProcessId;
}

std::optional<DWORD> ChildProcess::Wait(DWORD timeout_ms) {
  DWORD code = 0;
  if (!_process || WaitForSingleObject(process(), timeout_ms) != 0 ||
      !GetExitCodeProcess(process(), &code)) {
    return std::nullopt;
  }
  if (!_is_child) return code;
  if (code == 0) return std::nullopt;
  return code == kReturnedZero ? 0 : code;
}

void ChildProcess::Kill(UINT exit_code) {
  if (_process) TerminateProcess(process(), exit_code);
}

}  // namespace vel::test
