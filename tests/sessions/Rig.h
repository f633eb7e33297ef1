// What the rigs of these tests share.
#ifndef VEL_TESTS_SESSIONS_RIG_H_
#define VEL_TESTS_SESSIONS_RIG_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "support/ChildProcess.h"
#include "sync/VelFastMutex.h"

namespace vel::test {

// What has happened, in order, from any thread.
class Events {
 public:
  void add(std::wstring event) {
    const VelFastMutex::Scope scope(_lock);
    _events.push_back(std::move(event));
  }
  // All so far; the list is empty then.
  std::vector<std::wstring> take() {
    const VelFastMutex::Scope scope(_lock);
    return std::exchange(_events, {});
  }

 private:
  VelFastMutex _lock;
  std::vector<std::wstring> _events;
};

using EventList = std::vector<std::wstring>;

// Copies a fake library, so that it can be loaded under another name.
inline void copy_library(const wchar_t* fake, const std::wstring& target) {
  const std::wstring program = TestProgramPath();
  const std::wstring source =
      program.substr(0, program.rfind(L'\\') + 1) + fake;
  EXPECT_TRUE(CopyFileW(source.c_str(), target.c_str(), FALSE));
}

// Looks every few milliseconds; true once `condition` holds, false after the
// time.
template <class Condition>
bool comes_true(Condition condition, DWORD timeout_ms = 30000) {
  const DWORD start = GetTickCount();
  while (!condition()) {
    if (GetTickCount() - start > timeout_ms) return false;
    Sleep(5);
  }
  return true;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SESSIONS_RIG_H_
