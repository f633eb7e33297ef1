// A second copy of the program: what it hands over, what comes of it, and its
// exit code.
#include "harness/ProductTest.h"

namespace vel::test {
namespace {

constexpr wchar_t kProductKey[] = L"Software\\Tessavane\\VEL";

struct HandOver {
  const wchar_t* arguments;
  // Configuration, then the five texts of start_app.
  const wchar_t* app;
};

class HandOverTest : public ProductTest {};

TEST_F(HandOverTest, SecondCopyOpensWhatItWasGivenAndEndsWithZero) {
  const HandOver cases[] = {
      {L"http://example.invalid/A b", L"Normal||http://example.invalid/A|||"},
      {L"ftp://first HTTPS://Second.invalid",
       L"Normal||HTTPS://Second.invalid|||"},
      {L"/shex_cfg=\"Privacy\" /shex_verb=\"edit\" /shex_file=\"C:\\a.htm\" "
       L"/shex_par=\"p q\" /shex_dir=\"C:\\dir\" /shex_class=\"htmlfile\"",
       L"Privacy|edit|C:\\a.htm|p q|C:\\dir|htmlfile"},
      // The file name repeated in the parameters goes.
      {L"/shex_file=\"C:\\b.htm\" /shex_par=\"\a2C:\\b.htm\a2\"",
       L"Normal||C:\\b.htm|||"},
      {L"/shex_file=\"C:\\p.exe\" /shex_par=\"x.HTML\"",
       L"Normal||C:\\p.exe|\"x.html\"||"},
      {L"/shex_cfg=\"privacy\" /shex_file=\"again\"", L"Privacy||again|||"},
  };
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  for (const HandOver& expected : cases) {
    EXPECT_EQ(product.Run(expected.arguments), 0u);
    ExpectSessionEvent(std::wstring(L"app ") + expected.app);
  }
  // Two configurations in all, whatever the letters' case.
  const auto events = product.SessionEvents();
  EXPECT_EQ(Count(events, L"start Normal"), 1u) << Describe(events);
  EXPECT_EQ(Count(events, L"start Privacy"), 1u) << Describe(events);
  EXPECT_EQ(CountBeginning(events, L"start "), 2u) << Describe(events);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(HandOverTest, WithoutAnActionNoSessionStarts) {
  ASSERT_TRUE(product.UseTestSession());
  ASSERT_TRUE(product.UseTestPlugin());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(product.Run(), 0u);
  EXPECT_EQ(product.Run(L"/shex_cfg=\"Privacy\" /shex_class=\"x\""), 0u);
  EXPECT_EQ(tray.Shutdown(), 0u);
  EXPECT_TRUE(product.SessionEvents().empty())
      << Describe(product.SessionEvents());
}

TEST_F(HandOverTest, FirstCopyRunsItsOwnCommandLine) {
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product, L"/shex_cfg=\"First\" /shex_file=\"own\"");
  ASSERT_TRUE(tray.up());
  ExpectSessionEvent(L"app First||own|||");
  EXPECT_EQ(tray.Shutdown(), 0u);
  // The session was closed before the end.
  EXPECT_EQ(Count(product.SessionEvents(), L"release First"), 1u);
}

TEST_F(HandOverTest, EnvironmentIsSetBeforeThePluginsLoad) {
  ASSERT_TRUE(product.UseTestPlugin("%VEL_E2E_A%+%VEL_E2E_B%"));
  Tray tray(product,
            L"/env=\"VEL_E2E_A=one\" /env=\"VEL_E2E_B=%VEL_E2E_A%two\"");
  ASSERT_TRUE(tray.up());
  ExpectPluginEvent(L"load 'one+onetwo'");
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(HandOverTest, AnEventThatIsNotThereDoesNotHinderTheStart) {
  Tray tray(product, L"/set_event=\"vel_e2e_no_such_event\"");
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(product.Run(L"/set_event=\"vel_e2e_no_such_event\""), 0u);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

// Start modes without a tray: all end with 0 and start nothing.
class StartModeTest : public ProductTest {};

TEST_F(StartModeTest, WithoutATrayTheModesEndAtOnce) {
  ASSERT_TRUE(product.UseTestPlugin());
  for (const wchar_t* arguments :
       {L"/start_mode=\"configure\"", L"/start_mode=\"about\"",
        L"/start_mode=\"shutdown\"",
        L"/start_mode=\"shutdown\" /shutdown_mode=\"force\"",
        L"/mode=\"DUMMY\""}) {
    EXPECT_EQ(product.Run(arguments), 0u);
  }
  EXPECT_TRUE(product.PluginEvents().empty());
}

TEST_F(StartModeTest, ModesReachTheRunningTray) {
  ASSERT_TRUE(product.UseTestPlugin());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(product.Run(L"/start_mode=\"configure\""), 0u);
  ExpectPluginEvent(L"broadcast VELMENUS_CONFIGURE");
  EXPECT_EQ(product.Run(L"/start_mode=\"about\""), 0u);
  ExpectPluginEvent(L"broadcast VELMENUS_ABOUT");
  // No other value does anything but the plain hand-over.
  EXPECT_EQ(product.Run(L"/start_mode=\"Shutdown\""), 0u);
  EXPECT_TRUE(tray.Runs());
  EXPECT_EQ(product.Run(L"/start_mode=\"shutdown\""), 0u);
  EXPECT_EQ(tray.WaitForExit(), 0u);
  ExpectPluginEvent(L"destroy");
}

TEST_F(StartModeTest, AutomaticStartFollowsTheUsersSetting) {
  ScopedRegistryValue auto_start(HKEY_CURRENT_USER, kProductKey, L"AutoStart");
  ASSERT_TRUE(auto_start.SetDword(0));
  EXPECT_EQ(product.Run(L"/start_mode=\"auto\""), 0u);
  EXPECT_EQ(FindTray(), nullptr);
  auto_start.Remove();
  Tray tray(product, L"/start_mode=\"auto\"");
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(StartModeTest, ShutdownAsksAndTheForcedOneSkipsOnlyTheFirstQuestion) {
  ASSERT_TRUE(product.UseTestPlugin());
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product, L"/shex_file=\"x\"");
  ASSERT_TRUE(tray.up());
  ASSERT_TRUE(product.Veto(true));
  EXPECT_EQ(product.Run(L"/start_mode=\"shutdown\""), 0u);
  ExpectPluginEvent(L"query 0 session refused");
  EXPECT_EQ(Count(product.PluginEvents(), L"query 1 session refused"), 0u);
  EXPECT_EQ(product.Run(L"/start_mode=\"shutdown\" /shutdown_mode=\"force\""),
            0u);
  ExpectPluginEvent(L"query 1 session refused");
  EXPECT_TRUE(tray.Runs());
  ASSERT_TRUE(product.Veto(false));
  EXPECT_EQ(product.Run(L"/start_mode=\"shutdown\" /shutdown_mode=\"force\""),
            0u);
  EXPECT_EQ(tray.WaitForExit(), 0u);
}

class ExitCodeTest : public ProductTest {
 protected:
  // Closes the message box that the process shows, and gives its text.
  std::wstring CloseBox(const ChildProcess& process) {
    HWND box = nullptr;
    EXPECT_TRUE(WaitUntil([&] {
      box = DialogOf(process.id());
      return box != nullptr;
    })) << "no message box";
    wchar_t text[1024] = {};
    // The text's control of a message box.
    GetDlgItemTextW(box, 0xFFFF, text, 1024);
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    return text;
  }
};

TEST_F(ExitCodeTest, MutexWithoutAWindowGivesOne) {
  const HANDLE running = CreateMutexW(nullptr, FALSE, L"VELGUI_RUNNING");
  ASSERT_NE(running, nullptr);
  EXPECT_EQ(product.Run(L"http://example.invalid/"), 1u);
  CloseHandle(running);
}

TEST_F(ExitCodeTest, PendingInstallationIsToldAndGivesOne) {
  const wchar_t pending[] =
      L"Software\\Tessavane\\VEL\\Volatile\\InstallPending";
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, pending, 0, nullptr,
                      REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                      nullptr) != ERROR_SUCCESS) {
    GTEST_SKIP() << "only an administrator may write the machine's key";
  }
  RegCloseKey(key);
  ChildProcess process = product.Start();
  EXPECT_NE(CloseBox(process), L"");
  EXPECT_EQ(process.Wait(), 1u);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, pending);
}

TEST_F(ExitCodeTest, WithoutLanguageResourcesTheBoxIsEmpty) {
  ASSERT_TRUE(product.Remove(L"VELRCS.dll"));
  ChildProcess process = product.Start();
  EXPECT_EQ(CloseBox(process), L"");
  EXPECT_EQ(process.Wait(), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace vel::test
