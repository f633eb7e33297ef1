// Waiting for what another thread or process does.
#ifndef VEL_TESTS_SUPPORT_WAIT_H_
#define VEL_TESTS_SUPPORT_WAIT_H_

#include <windows.h>

namespace vel::test {

inline constexpr DWORD kPatienceMs = 30000;

// True as soon as `condition` holds; false when it didn't in `timeout_ms`.
template <class Condition>
bool WaitUntil(Condition condition, DWORD timeout_ms = kPatienceMs) {
  const ULONGLONG end = GetTickCount64() + timeout_ms;
  while (!condition()) {
    if (GetTickCount64() >= end) return false;
    Sleep(15);
  }
  return true;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_WAIT_H_
