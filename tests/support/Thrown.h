// What a call throws.
#ifndef VEL_TESTS_SUPPORT_THROWN_H_
#define VEL_TESTS_SUPPORT_THROWN_H_

#include <stdexcept>
#include <string>

namespace vel::test {

// The text of the std::runtime_error; empty when nothing is thrown.
template <class Call>
std::string Thrown(const Call& call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_THROWN_H_
