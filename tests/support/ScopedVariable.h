// A variable of the process's environment for the length of a scope.
#ifndef VEL_TESTS_SUPPORT_SCOPEDVARIABLE_H_
#define VEL_TESTS_SUPPORT_SCOPEDVARIABLE_H_

#include <windows.h>

#include <string>
#include <utility>

namespace vel::test {

class [[nodiscard]] ScopedVariable {
 public:
  // Child processes inherit the value; an empty one takes the variable away.
  [[nodiscard]] ScopedVariable(std::wstring name, const std::wstring& value)
      : _name(std::move(name)) {
    wchar_t before[4096];
    const DWORD length = GetEnvironmentVariableW(_name.c_str(), before, 4096);
    if (length < 4096) _before.assign(before, length);
    Set(value);
  }
  ~ScopedVariable() { Set(_before); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

  void Set(const std::wstring& value) const {
    SetEnvironmentVariableW(_name.c_str(),
                            value.empty() ? nullptr : value.c_str());
  }

 private:
  const std::wstring _name;
  std::wstring _before;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_SCOPEDVARIABLE_H_
