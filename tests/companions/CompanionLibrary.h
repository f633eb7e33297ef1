#ifndef VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_
#define VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "support/ChildProcess.h"
#include "sync/ProcAddress.h"

namespace vel::test {

// The full path of `name` below where the companions lie, laid out as they are
// installed.
inline std::wstring CompanionPath(const std::wstring& name) {
  return TestProgramPath() + L"\\..\\..\\product\\" + name;
}

class [[nodiscard]] CompanionLibrary {
 public:
  [[nodiscard]] explicit CompanionLibrary(const std::wstring& name,
                                          DWORD flags = 0)
      : _module(LoadLibraryExW(CompanionPath(name).c_str(), nullptr, flags)) {
    EXPECT_TRUE(_module) << GetLastError();
  }
  ~CompanionLibrary() { FreeLibrary(_module); }
  CompanionLibrary(const CompanionLibrary&) = delete;
  CompanionLibrary& operator=(const CompanionLibrary&) = delete;

  HMODULE get() const { return _module; }
  // The export `name`; its absence fails the test.
  template <class Function>
  Function* Get(const char* name) const {
    const auto function = proc_address<Function*>(_module, name);
    EXPECT_TRUE(function) << name;
    return function;
  }

 private:
  HMODULE _module;
};

}  // namespace vel::test

#endif  // VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_
