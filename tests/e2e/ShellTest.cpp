// The icon in the notification area, seen from the shell's side.
#include "harness/Product.h"

#include <shellapi.h>

#include <atomic>
#include <cstring>
#include <thread>

namespace vel::test {
namespace {

// A window that the notification calls of other processes go to instead of the
// shell's. Only Wine lets a program stand in for the shell in this way; what
// the calls carry is Wine's own layout. With the object the shell dies.
class StandInShell {
 public:
  // Refuses the first `refusals` calls, as a shell does that isn't ready.
  explicit StandInShell(unsigned refusals = 0) : _refusals(refusals) {
    WaitUntil([this] { return _window != nullptr; });
  }
  ~StandInShell() {
    PostMessageW(_window, WM_CLOSE, 0, 0);
    _thread.join();
  }
  StandInShell(const StandInShell&) = delete;
  StandInShell& operator=(const StandInShell&) = delete;

  bool WaitForIcon() const {
    return WaitUntil([this] { return _has_icon.load(); });
  }
  bool HasIcon() const { return _has_icon; }

  // Tells the window that a shell has come up.
  static void Announce(HWND window) {
    PostMessageW(window, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0);
  }

 private:
  void Serve() {
    constexpr wchar_t kShellClass[] = L"Shell_TrayWnd";
    WNDCLASSW window_class = {};
    window_class.lpfnWndProc = &Procedure;
    window_class.lpszClassName = kShellClass;
    RegisterClassW(&window_class);
    // The top-most window is the first one that is found.
    const HWND window = CreateWindowExW(
        WS_EX_TOPMOST | WS_EX_TOOLWINDOW, kShellClass, L"",
        WS_POPUP | WS_VISIBLE, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    _window = window;
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  }

  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam) {
    if (message == WM_DESTROY) PostQuitMessage(0);
    if (message != WM_COPYDATA) {
      return DefWindowProcW(window, message, wparam, lparam);
    }
    return reinterpret_cast<StandInShell*>(
               GetWindowLongPtrW(window, GWLP_USERDATA))
        ->OnCall(*reinterpret_cast<const COPYDATASTRUCT*>(lparam));
  }

  // As the shell does: what is there can't be added, what isn't can't be
  // changed.
  bool OnCall(const COPYDATASTRUCT& data) {
    // The beginning of what Wine's shell library sends.
    enum { kWindow, kId, kFlags, kCallback, kWords };
    LONG call[kWords];
    if (data.cbData < sizeof call) return false;
    std::memcpy(call, data.lpData, sizeof call);
    const bool adds = data.dwData == NIM_ADD;
    if (_refusals > 0 ? _refusals-- : adds == _has_icon) return false;
    if (adds && (call[kWindow] != HandleToLong(FindTray()) ||
                 call[kCallback] != LONG{kFromTheShell})) {
      return false;
    }
    _has_icon = data.dwData != NIM_DELETE;
    return true;
  }

  unsigned _refusals;
  std::atomic<bool> _has_icon = false;
  std::atomic<HWND> _window = nullptr;
  std::thread _thread{&StandInShell::Serve, this};
};

class ShellTest : public ProductTest {};

TEST_F(ShellTest, IconComesWithTheShellAndGoesWithTheTray) {
  if (!GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version")) {
    GTEST_SKIP() << "the shell of Windows can't be replaced";
  }
  std::optional<StandInShell> shell(6);
  ASSERT_TRUE(StartTray());
  // A shell that isn't ready is asked again.
  ASSERT_TRUE(shell->WaitForIcon());
  // The shell dies; the next one knows nothing of the icon.
  shell.reset();
  EXPECT_EQ(Run(), 0u);
  shell.emplace();
  StandInShell::Announce(FindTray());
  ASSERT_TRUE(shell->WaitForIcon());
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_FALSE(shell->HasIcon());
}

// Kills the desktop's real shell and takes its place. The child of a script,
// since no later test could have a window on that desktop.
VEL_CHILD_MAIN(ReplacesShell) {
  const StandInShell shell;
  const HWND tray = FindTray();
  if (!tray) return 1;
  for (const DWORD id : ProcessesNamed(L"explorer.exe")) KillProcess(id, 1);
  if (!WaitUntil([] { return ProcessesNamed(L"explorer.exe").empty(); })) {
    return 2;
  }
  StandInShell::Announce(tray);
  return shell.WaitForIcon() ? 0 : 3;
}

}  // namespace
}  // namespace vel::test
