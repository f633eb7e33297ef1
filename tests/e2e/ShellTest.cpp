// The icon in the notification area, seen from the shell's side.
#include "harness/ProductTest.h"

#include <shellapi.h>

#include "harness/StandInShell.h"

namespace vel::test {
namespace {

// What the shell sends for the icon.
constexpr UINT kFromTheShell = 2146;

class ShellTest : public ProductTest {
 protected:
  void SetUp() override {
    if (!RunsUnderWine()) {
      GTEST_SKIP() << "the shell of Windows can't be replaced";
    }
    ProductTest::SetUp();
  }
  static bool WaitForIcon(const StandInShell& shell, bool there) {
    return WaitUntil([&] { return shell.HasIcon() == there; });
  }
};

TEST_F(ShellTest, IconComesWithTheShellAndGoesWithTheTray) {
  std::optional<StandInShell> shell(std::in_place);
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  ASSERT_TRUE(WaitForIcon(*shell, true));
  const StandInShell::Call first = shell->Calls().front();
  EXPECT_EQ(first.window, FindTray());
  EXPECT_EQ(first.callback, kFromTheShell);
  EXPECT_NE(first.tip, L"");

  // The shell dies; the next one knows nothing of the icon.
  shell.reset();
  EXPECT_EQ(product.Run(), 0u);
  shell.emplace();
  StandInShell::Announce(FindTray());
  ASSERT_TRUE(WaitForIcon(*shell, true));
  EXPECT_EQ(shell->Calls().back().tip, first.tip);

  EXPECT_EQ(tray.Shutdown(), 0u);
  EXPECT_FALSE(shell->HasIcon());
}

TEST_F(ShellTest, ShellThatIsNotReadyIsAskedAgain) {
  StandInShell shell(6);
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_TRUE(WaitForIcon(shell, true));
  EXPECT_GE(shell.Calls().size(), 7u);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(ShellTest, CommandLinesHideAndShowTheIcon) {
  StandInShell shell;
  Tray tray(product, L"/icon=\"hidden\"");
  ASSERT_TRUE(tray.up());
  // A later command without the argument changes nothing.
  EXPECT_EQ(product.Run(), 0u);
  EXPECT_EQ(shell.Count(NIM_ADD), 0u);
  EXPECT_EQ(product.Run(L"/icon=\"shown\""), 0u);
  EXPECT_TRUE(WaitForIcon(shell, true));
  EXPECT_EQ(product.Run(L"/icon=\"hidden\""), 0u);
  EXPECT_TRUE(WaitForIcon(shell, false));
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(ShellTest, TipShowsTheHintsOfThePlugins) {
  StandInShell shell;
  ASSERT_TRUE(product.UseTestPlugin("callback"));
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  std::wstring tip;
  EXPECT_TRUE(WaitUntil([&] {
    const auto calls = shell.Calls();
    if (!calls.empty()) tip = calls.back().tip;
    return tip.size() > 5 && tip.substr(tip.size() - 5) == L"\r\ne2e";
  })) << std::string(tip.begin(), tip.end());
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(ShellTest, DoubleClickRunsTheDefaultItem) {
  ASSERT_TRUE(product.UseTestPlugin());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  for (const UINT mouse :
       {WM_LBUTTONDOWN, WM_LBUTTONUP, WM_LBUTTONDBLCLK, WM_LBUTTONUP}) {
    EXPECT_TRUE(
        PostMessageW(FindTray(), kFromTheShell, 0, static_cast<LPARAM>(mouse)));
  }
  ExpectPluginEvent(L"menu event 5 id 71");
  EXPECT_EQ(Count(product.PluginEvents(), L"popup"), 1u);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

// Kills the desktop's real shell and takes its place. The child of a script,
// since no later test could have a window on that desktop.
VEL_CHILD_MAIN(ReplacesShell) {
  StandInShell shell;
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
