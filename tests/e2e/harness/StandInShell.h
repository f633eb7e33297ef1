// A window that the notification calls of other processes go to instead of the
// shell's. Only Wine lets a program stand in for the shell in this way; what
// the calls carry is Wine's own layout.
#ifndef VEL_TESTS_E2E_HARNESS_STANDINSHELL_H_
#define VEL_TESTS_E2E_HARNESS_STANDINSHELL_H_

#include <windows.h>

#include <mutex>
#include <string>
#include <vector>

namespace vel::test {

// Whether the tests run under Wine.
bool RunsUnderWine();

class StandInShell {
 public:
  // Refuses the first `refusals` calls, as a shell does that isn't ready.
  explicit StandInShell(unsigned refusals = 0);
  // The shell is gone: its window is destroyed.
  ~StandInShell();
  StandInShell(const StandInShell&) = delete;
  StandInShell& operator=(const StandInShell&) = delete;

  struct Call {
    DWORD message;  // NIM_ADD and so on
    HWND window;
    UINT callback;
    std::wstring tip;
  };
  // What was called so far, refused calls included.
  std::vector<Call> Calls() const;
  // How many calls of a kind were made.
  std::size_t Count(DWORD message) const;
  // Whether the icon of the last call is there.
  bool HasIcon() const;

  // Tells the window that a shell has come up.
  static void Announce(HWND window);

 private:
  static DWORD WINAPI Run(void* self);
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam);
  bool OnCall(const COPYDATASTRUCT& data);

  HANDLE _ready;
  HANDLE _thread;
  HWND _window = nullptr;
  mutable std::mutex _lock;
  // Guarded by _lock.
  unsigned _refusals;
  std::vector<Call> _calls;
  bool _has_icon = false;
};

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HARNESS_STANDINSHELL_H_
