// A command-line tool of the product, and what it prints.
#ifndef VEL_TESTS_TOOLS_TOOLTEST_H_
#define VEL_TESTS_TOOLS_TOOLTEST_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <utility>

#include "support/ChildProcess.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

// What a tool is kept in; null for what the test itself runs with.
struct Confinement {
  HANDLE token = nullptr;
  HANDLE job = nullptr;
};

class ToolTest : public testing::Test {
 protected:
  struct Result {
    DWORD code;
    std::string out;
    std::string problems;
  };

  explicit ToolTest(std::wstring file) : _file(std::move(file)) {}

  // Writes a file and gives its path in quotes.
  std::wstring Write(const std::wstring& name, const std::string& bytes) {
    return L"\"" + _scratch.Write(name, bytes) + L"\"";
  }
  // What it prints goes to the files `out` and `problems`.
  PROCESS_INFORMATION Start(const std::wstring& arguments,
                            const Confinement& confinement = {}) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = Output(L"out", _output_access);
    startup.hStdError = Output(L"problems", GENERIC_WRITE);
    std::wstring line =
        L"\"" + TestProgramPath() + L"\\..\\" + _file + L"\" " + arguments;
    PROCESS_INFORMATION process = {};
    const BOOL started =
        confinement.token
            ? CreateProcessAsUserW(confinement.token, nullptr, line.data(),
                                   nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                                   nullptr, nullptr, &startup, &process)
            : CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                             CREATE_SUSPENDED, nullptr, nullptr, &startup,
                             &process);
    EXPECT_TRUE(started) << GetLastError();
    if (confinement.job) {
      EXPECT_TRUE(AssignProcessToJobObject(confinement.job, process.hProcess));
    }
    ResumeThread(process.hThread);
    CloseHandle(startup.hStdOutput);
    CloseHandle(startup.hStdError);
    return process;
  }
  Result Run(const std::wstring& arguments,
             const Confinement& confinement = {}) {
    const PROCESS_INFORMATION process = Start(arguments, confinement);
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 30000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return {code, _scratch.Read(L"out"), _scratch.Read(L"problems")};
  }

  const ScratchDirectory _scratch;
  // GENERIC_READ for an output that can't be written.
  DWORD _output_access = GENERIC_WRITE;

 private:
  HANDLE Output(const wchar_t* name, DWORD access) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return CreateFileW(_scratch.File(name).c_str(), access,
                       FILE_SHARE_READ | FILE_SHARE_DELETE, &inherited,
                       CREATE_ALWAYS, 0, nullptr);
  }

  const std::wstring _file;
};

}  // namespace vel::test

#endif  // VEL_TESTS_TOOLS_TOOLTEST_H_
