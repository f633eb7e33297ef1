// Threads of a test: many at once, and one to kill.
#ifndef VEL_TESTS_SUPPORT_THREADS_H_
#define VEL_TESTS_SUPPORT_THREADS_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "support/Wait.h"

namespace vel::test {

// Holds threads until `count` of them have come. (std::latch of this runtime
// can miss a wake-up.)
class Meeting {
 public:
  explicit Meeting(int count) : _missing(count) {}
  void Join() {
    --_missing;
    while (_missing > 0) Sleep(0);
  }

 private:
  std::atomic<int> _missing;
};

// Runs `body(number)` in `count` threads that start together, and waits for
// all of them.
template <typename Body>
void RunTogether(int count, Body body) {
  Meeting start(count);
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&start, &body, i] {
      start.Join();
      body(i);
    });
  }
}

// A thread that has run `body` and then just exists, holding what it took,
// until it is killed: by Kill(), by the destructor or by the process's end.
class [[nodiscard]] HoldingThread {
 public:
  [[nodiscard]] explicit HoldingThread(std::function<void()> body)
      : _body(std::move(body)) {
    _thread = CreateThread(nullptr, 0, Run, this, 0, &_id);
    EXPECT_TRUE(WaitUntil([this] { return _ready.load(); }));
  }
  ~HoldingThread() { Kill(); }
  HoldingThread(const HoldingThread&) = delete;
  HoldingThread& operator=(const HoldingThread&) = delete;

  // Returns when the system knows no such thread any more, which takes the
  // last handle on it.
  void Kill() {
    if (_thread == nullptr) return;
    TerminateThread(_thread, 0);
    EXPECT_EQ(WaitForSingleObject(_thread, 30000), WAIT_OBJECT_0);
    CloseHandle(std::exchange(_thread, nullptr));
    while (const HANDLE left = OpenThread(SYNCHRONIZE, FALSE, _id)) {
      CloseHandle(left);
      Sleep(1);
    }
  }
  DWORD id() const { return _id; }

 private:
  static DWORD WINAPI Run(void* self) {
    auto* holder = static_cast<HoldingThread*>(self);
    holder->_body();
    holder->_ready = true;
    Sleep(INFINITE);
    return 0;
  }

  std::function<void()> _body;
  std::atomic<bool> _ready = false;
  HANDLE _thread = nullptr;
  DWORD _id = 0;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_THREADS_H_
