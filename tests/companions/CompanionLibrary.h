// A companion as it was built, loaded for a test.
#ifndef VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_
#define VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <string>

#include "support/ChildProcess.h"

namespace vel::test {

// The full path of `name` below where the companions lie, laid out as they are
// installed.
inline std::wstring CompanionPath(const std::wstring& name) {
  return TestProgramPath() + L"\\..\\..\\product\\" + name;
}

class CompanionLibrary {
 public:
  explicit CompanionLibrary(const std::wstring& name)
      : _module(LoadLibraryW(CompanionPath(name).c_str())) {
    EXPECT_TRUE(_module) << GetLastError();
  }
  ~CompanionLibrary() { FreeLibrary(_module); }
  CompanionLibrary(const CompanionLibrary&) = delete;
  CompanionLibrary& operator=(const CompanionLibrary&) = delete;

  // The export `name`; its absence fails the test.
  template <class Function>
  Function* Get(const char* name) const {
    const FARPROC function = GetProcAddress(_module, name);
    EXPECT_TRUE(function) << name;
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(function));
  }

 private:
  HMODULE _module;
};

// Polls for up to 30 seconds, and takes this thread's messages meanwhile.
inline bool WaitUntil(const std::function<bool()>& condition) {
  for (int waited = 0; waited < 30000 && !condition(); waited += 20) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      DispatchMessageW(&message);
    }
    Sleep(20);
  }
  return condition();
}

}  // namespace vel::test

#endif  // VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_
