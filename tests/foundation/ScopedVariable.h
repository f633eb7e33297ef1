// A variable of the process's environment for the length of a scope.
#ifndef VEL_TESTS_FOUNDATION_SCOPEDVARIABLE_H_
#define VEL_TESTS_FOUNDATION_SCOPEDVARIABLE_H_

#include <string>
#include <utility>

#include "foundation/Environment.h"

namespace vel::test {

class ScopedVariable {
 public:
  // An empty value takes the variable away.
  ScopedVariable(std::wstring name, const std::wstring& value)
      : _name(std::move(name)), _before(process_env(_name)) {
    set_env(_name, value, true);
  }
  ~ScopedVariable() { set_env(_name, _before, true); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const std::wstring _name;
  const std::wstring _before;
};

}  // namespace vel::test

#endif  // VEL_TESTS_FOUNDATION_SCOPEDVARIABLE_H_
