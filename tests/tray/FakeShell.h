// Stands in for the shell's notification area: takes every call of the tray
// icon and answers as the test says.
#ifndef VEL_TESTS_TRAY_FAKESHELL_H_
#define VEL_TESTS_TRAY_FAKESHELL_H_

#include <windows.h>
#include <shellapi.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace vel::test {

struct ShellCall {
  DWORD message;
  NOTIFYICONDATAW data;
  DWORD thread;
};

// In force from construction to destruction; one at a time.
class FakeShell {
 public:
  FakeShell();
  ~FakeShell();
  FakeShell(const FakeShell&) = delete;
  FakeShell& operator=(const FakeShell&) = delete;

  // Which calls fail from now on.
  void Refuse(bool add, bool modify);
  std::vector<ShellCall> Calls() const;
  // The messages of the calls so far: "ADM" for add, delete, modify.
  std::string Sequence() const;
  void Clear();
};

// Waits up to ten seconds for what other threads are about to do.
inline bool Eventually(const std::function<bool()>& done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace vel::test

#endif  // VEL_TESTS_TRAY_FAKESHELL_H_
