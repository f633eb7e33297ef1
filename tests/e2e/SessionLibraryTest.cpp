// Session libraries that aren't as they should be, missing companions, and a
// session that dies.
#include "harness/ProductTest.h"

#include <optional>

namespace vel::test {
namespace {

constexpr DWORD kBreakpoint = 0x80000003;

class SessionLibraryTest : public ProductTest {
 protected:
  // The tray runs without the library, and traps when a session needs it.
  void ExpectTrapAtTheFirstSession() {
    Tray tray(product);
    ASSERT_TRUE(tray.up());
    EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, L"no action"));
    EXPECT_FALSE(SendCommand(VELGUI_IPC_RUNCMD, L"http://example.invalid/"));
    EXPECT_EQ(tray.WaitForExit(), kBreakpoint);
  }
};

TEST_F(SessionLibraryTest, MissingLibraryTraps) {
  ASSERT_TRUE(product.Remove(L"VELUL.dll"));
  ExpectTrapAtTheFirstSession();
}

TEST_F(SessionLibraryTest, FileThatIsNoLibraryTraps) {
  ASSERT_TRUE(product.Write(L"VELUL.dll", "not a library"));
  ExpectTrapAtTheFirstSession();
}

TEST_F(SessionLibraryTest, LibraryWithoutTheExportTraps) {
  ASSERT_TRUE(product.Install(L"e2e_plugin.dll", L"VELUL.dll"));
  ExpectTrapAtTheFirstSession();
}

TEST_F(SessionLibraryTest, LibraryThatMakesNoSessionTraps) {
  ASSERT_TRUE(product.UseTestSession());
  ASSERT_TRUE(product.Write(L"VELUL.dll.null", ""));
  ExpectTrapAtTheFirstSession();
}

TEST_F(SessionLibraryTest, MinimalModesAreServedByTheReducedBuild) {
  ScopedRegistryValue mode(
      HKEY_CURRENT_USER, L"Software\\Tessavane\\VEL\\VELULMinModes", L"E2EMin");
  ASSERT_TRUE(mode.SetDword(1));
  ASSERT_TRUE(product.UseTestSession());
  ASSERT_TRUE(product.Install(L"e2e_session.dll", L"VELUL_MIN\\VELUL.dll"));
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(product.Run(L"/shex_cfg=\"E2EMin\" /shex_file=\"m\""), 0u);
  EXPECT_EQ(product.Run(L"/shex_cfg=\"E2EMax\" /shex_file=\"f\""), 0u);
  ExpectEvent(L"VELUL_MIN\\VELUL.dll", L"app E2EMin||m|||");
  ExpectSessionEvent(L"app E2EMax||f|||");
  EXPECT_EQ(CountBeginning(product.SessionEvents(), L"app "), 1u);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(SessionLibraryTest, WithoutTheDialogLibraryOnlyTheMenuIsMissing) {
  ASSERT_TRUE(product.Remove(L"VELDLG.dll"));
  ASSERT_TRUE(product.UseTestPlugin());
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  constexpr UINT kFromTheShell = 2146;
  EXPECT_EQ(SendMessageW(FindTray(), kFromTheShell, 0, WM_RBUTTONUP), 1);
  EXPECT_EQ(product.Run(L"/shex_file=\"x\""), 0u);
  ExpectSessionEvent(L"app Normal||x|||");
  EXPECT_EQ(tray.Shutdown(), 0u);
}

struct Death {
  const wchar_t* config;
  const wchar_t* status;
  // From the death to the new start, in ms. The tray looks every 100 ms.
  DWORD least;
};

// Ticks of two clocks in one process may differ by a timer's step.
constexpr DWORD kTickStep = 32;

std::optional<DWORD> TimeToRestart(const std::vector<Event>& events,
                                   const std::wstring& config) {
  std::optional<DWORD> died;
  for (const Event& event : events) {
    if (event.text.rfind(L"died " + config + L" ", 0) == 0) died = event.tick;
    if (died && event.text == L"start " + config) return event.tick - *died;
  }
  return std::nullopt;
}

TEST_F(SessionLibraryTest, DeadSessionComesBackAfterTheDelayOfItsStatus) {
  const Death deaths[] = {{L"Zero", L"0", 0},
                          {L"One", L"1", 0},
                          {L"Fault", L"c0000005", 3000},
                          {L"Two", L"2", 3000},
                          {L"CtrlC", L"c000013a", 6000},
                          {L"SysDown", L"c00002eb", 6000},
                          {L"Debugger", L"40010004", 6000}};
  ASSERT_TRUE(product.UseTestPlugin());
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  for (const Death& death : deaths) {
    EXPECT_TRUE(SendCommand(
        VELGUI_IPC_RUNCMD,
        std::wstring(L"/shex_verb=\"e2e_die\" /shex_cfg=\"") + death.config +
            L"\" /shex_par=\"" + death.status + L"\""));
  }
  for (const Death& death : deaths) {
    const std::wstring config = death.config;
    ExpectSessionEvent(L"start " + config, 2);
    const auto took = TimeToRestart(product.SessionEvents(), config);
    ASSERT_TRUE(took);
    EXPECT_GE(*took + kTickStep, death.least) << death.status;
    // The longer delays aren't given to those of the shorter ones.
    EXPECT_LT(*took, death.least + 2500) << death.status;
    // The manager stays, so the plug-ins aren't told again.
    EXPECT_EQ(Count(product.PluginEvents(), L"startup " + config), 1u);
  }
  EXPECT_EQ(tray.Shutdown(), 0u);
}

}  // namespace
}  // namespace vel::test
