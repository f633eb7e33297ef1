// A window that a program takes for the running tray, in the test's process.
#ifndef VEL_TESTS_PROCESS_FAKETRAY_H_
#define VEL_TESTS_PROCESS_FAKETRAY_H_

#include <windows.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace vel::test {

struct TrayCommand {
  std::uint32_t command;
  std::wstring text;
  bool operator==(const TrayCommand&) const = default;
};

class FakeTray {
 public:
  // Decides on a command; runs on the window's thread.
  using Answer = std::function<bool(const TrayCommand&)>;

  explicit FakeTray(Answer answer);
  FakeTray() : FakeTray([](const TrayCommand&) { return true; }) {}
  ~FakeTray();
  FakeTray(const FakeTray&) = delete;
  FakeTray& operator=(const FakeTray&) = delete;

  // What has arrived, in order.
  std::vector<TrayCommand> commands();
  HWND window() const { return _window; }
  // Takes the window away after a while, as a tray that ends does.
  void VanishAfter(UINT ms);

 private:
  static DWORD WINAPI ThreadMain(void* self);
  static LRESULT CALLBACK WindowProcedure(HWND, UINT, WPARAM, LPARAM);
  void RunWindow();
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);
  bool Receive(const COPYDATASTRUCT& data);

  const Answer _answer;
  std::mutex _lock;
  std::vector<TrayCommand> _commands;
  HWND _window = nullptr;
  HANDLE _ready;
  HANDLE _thread;
};

}  // namespace vel::test

#endif  // VEL_TESTS_PROCESS_FAKETRAY_H_
