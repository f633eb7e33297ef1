// The icon in the notification area, seen from the shell's side.
#include "harness/Product.h"

#include <shellapi.h>

#include <atomic>
#include <cstring>
#include <mutex>
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

  // The beginning of what Wine's shell library sends.
  struct Call {
    LONG window;
    UINT id;
    UINT flags;
    UINT callback;
    wchar_t tip[128];
  };
  bool HasIcon() const { return _has_icon; }
  // How many calls there were, refused ones included.
  unsigned Calls() const { return _count; }
  Call Last() const {
    const std::lock_guard scope(_lock);
    return _last;
  }

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
    SetWindowPos(window, HWND_TOPMOST, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
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

  bool OnCall(const COPYDATASTRUCT& data) {
    if (data.cbData < sizeof _last) return false;
    {
      const std::lock_guard scope(_lock);
      std::memcpy(&_last, data.lpData, sizeof _last);
    }
    if (_count++ < _refusals) return false;
    // As the shell does: what is there can't be added, what isn't can't be
    // changed.
    if ((data.dwData == NIM_ADD) == _has_icon) return false;
    _has_icon = data.dwData != NIM_DELETE;
    return true;
  }

  const unsigned _refusals;
  std::atomic<unsigned> _count = 0;
  std::atomic<bool> _has_icon = false;
  mutable std::mutex _lock;
  Call _last = {};  // guarded by _lock
  std::atomic<HWND> _window = nullptr;
  std::thread _thread{&StandInShell::Serve, this};
};

class ShellTest : public ProductTest {
 protected:
  void SetUp() override {
    if (!GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version")) {
      GTEST_SKIP() << "the shell of Windows can't be replaced";
    }
    ProductTest::SetUp();
  }
  static bool WaitForIcon(const StandInShell& shell, bool there) {
    return WaitUntil([&] { return shell.HasIcon() == there; });
  }
};

TEST_F(ShellTest, IconComesWithTheShellAndGoesWithTheTray) {
  std::optional<StandInShell> shell(6);
  ASSERT_TRUE(UseTestLibrary("callback"));
  ASSERT_TRUE(StartTray());
  // A shell that isn't ready is asked again.
  ASSERT_TRUE(WaitForIcon(*shell, true));
  EXPECT_GE(shell->Calls(), 7u);
  EXPECT_EQ(shell->Last().window, HandleToLong(FindTray()));
  EXPECT_EQ(shell->Last().callback, kFromTheShell);
  // The plug-in's hint is in the tip.
  EXPECT_TRUE(WaitUntil(
      [&] { return std::wstring(shell->Last().tip).ends_with(L"\r\ne2e"); }));

  // The shell dies; the next one knows nothing of the icon.
  shell.reset();
  EXPECT_EQ(Run(), 0u);
  shell.emplace();
  StandInShell::Announce(FindTray());
  ASSERT_TRUE(WaitForIcon(*shell, true));
  EXPECT_TRUE(std::wstring(shell->Last().tip).ends_with(L"\r\ne2e"));

  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_FALSE(shell->HasIcon());
}

TEST_F(ShellTest, CommandLinesHideAndShowTheIcon) {
  const StandInShell shell;
  ASSERT_TRUE(StartTray(L"/icon=\"hidden\""));
  // A later command without the argument changes nothing.
  EXPECT_EQ(Run(), 0u);
  EXPECT_FALSE(shell.HasIcon());
  EXPECT_EQ(Run(L"/icon=\"shown\""), 0u);
  EXPECT_TRUE(WaitForIcon(shell, true));
  EXPECT_EQ(Run(L"/icon=\"hidden\""), 0u);
  EXPECT_TRUE(WaitForIcon(shell, false));
}

TEST_F(ShellTest, DoubleClickRunsTheDefaultItem) {
  ASSERT_TRUE(UseTestLibrary());
  ASSERT_TRUE(StartTray());
  for (const LPARAM mouse :
       {WM_LBUTTONDOWN, WM_LBUTTONUP, WM_LBUTTONDBLCLK, WM_LBUTTONUP}) {
    EXPECT_TRUE(PostMessageW(FindTray(), kFromTheShell, 0, mouse));
  }
  Expect("menu event 5 id 71");
  EXPECT_EQ(Seen("popup"), 1u);
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
  return WaitUntil([&] { return shell.HasIcon(); }) ? 0 : 3;
}

}  // namespace
}  // namespace vel::test
