// plugins.txt, the calls in both directions, the veto and the end of the
// user's session.
#include "harness/Product.h"

#include <cstdio>

#include "helpers/Actions.h"
#include "sync/ScopedHandle.h"
#include "vel/IVelPlugin.h"

namespace vel::test {
namespace {

class PluginsTest : public ProductTest {
 protected:
  // Lets the test plug-in act, and checks the result that it got.
  void Act(PluginAction action, std::uint32_t expected) {
    char done[64];
    std::snprintf(done, sizeof done, "did %u -> %x", action, expected);
    const std::size_t before = Seen(done);
    EXPECT_TRUE(SendCommand(VELGUI_IPC_OPEN_UNPROTECTED_BROWSER,
                            std::to_wstring(unsigned{action})));
    Expect(done, before + 1);
  }
};

TEST_F(PluginsTest, BadLinesDoNotStopTheGoodOnes) {
  for (const wchar_t* name : {L"test", L"poster", L"last", L"refuses"}) {
    ASSERT_TRUE(Install(L"Plugins\\" + std::wstring(name) + L".dll"));
  }
  product.Write(L"Plugins\\text.dll", "not a library");
  product.Write(L"Plugins\\empty.dll", "");
  // The last line has no CR LF and doesn't count.
  product.Write(L"Plugins\\plugins.txt",
                "missing.dll\r\ntext.dll,x\r\nempty.dll\r\n\r\n,parameters\r\n"
                "refuses.dll,null\r\n..\\VELRCS.dll\r\n"
                "test.dll,a,b %VEL_E2E_NONE%\r\nposter.dll,post\r\nlast.dll");
  ASSERT_TRUE(StartTray());
  Expect("load 'null'");
  Expect("load 'a,b %VEL_E2E_NONE%'");
  // A post from a plug-in's load reaches those that are in the list.
  Expect("broadcast e2e_early");
  Expect("broadcast VELGUI_INITIALIZED", 2);
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_EQ(Seen("destroy"), 2u);
  EXPECT_EQ(Seen("load *"), 3u) << Log();
  // Neither does a list that isn't there.
  ASSERT_TRUE(DeleteFileW(product.File(L"Plugins\\plugins.txt").c_str()));
  EXPECT_TRUE(StartTray());
}

// Under a plug-in that calls its host from every event.
TEST_F(PluginsTest, VetoKeepsEverythingRunning) {
  UseTestLibrary("callback");
  ASSERT_TRUE(StartTray());
  Act(kActionNeedNormal, VEL_STATUS_OK);
  Act(kActionNeedNormal, VEL_STATUS_SESSION_ACTIVE);
  Act(kActionNeedOther, VEL_STATUS_OK);
  Veto(true);
  Act(kActionCloseOther, VEL_STATUS_REFUSED);
  Act(kActionCloseAll, VEL_STATUS_REFUSED);
  EXPECT_FALSE(SendCommand(VELGUI_IPC_SOFT_SHUTDOWN, L"0"));
  Veto(false);
  Act(kActionCloseOther, VEL_STATUS_OK);
  EXPECT_EQ(Seen("release Other"), 1u) << Log();

  Veto(true);
  // This answer tells nothing of the refusal.
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  Expect("query 1 session refused");
  EXPECT_EQ(Seen("shutdown Normal"), 0u);
  // What was ordered stays ordered: no new session for a plug-in, but run
  // commands go on.
  Act(kActionNeedOther, VEL_STATUS_SHUTTING_DOWN);
  const SharedBlock block(4);
  ASSERT_TRUE(block.Send(VELGUI_IPC_IS_SHUTTING_DOWN));
  EXPECT_EQ(block.bytes()[0], 1);
  EXPECT_EQ(Run(L"/shex_file=\"y\""), 0u);
  Expect("app Normal||y|||");
  Expect("broadcast e2e_called_back (own)", 20);
  Veto(false);
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_EQ(Seen("release Normal"), 1u);
}

TEST_F(PluginsTest, RestartStartsTheProgramAnew) {
  UseTestLibrary();
  ASSERT_TRUE(StartTray());
  Act(kActionRestart, VEL_STATUS_OK);
  EXPECT_EQ(WaitForTray(), 0u);
  // The window is there before the main loop is.
  Expect("broadcast VELGUI_INITIALIZED", 2);
  ASSERT_NE(TrayProcess(), tray().id());
  const ScopedHandle process(OpenProcess(SYNCHRONIZE, FALSE, TrayProcess()));
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  EXPECT_EQ(WaitForSingleObject(process.get(), kPatienceMs), WAIT_OBJECT_0);
  EXPECT_EQ(Seen("destroy"), 2u);
}

TEST_F(PluginsTest, LogoffIsRefusedCancelledAndAgreedTo) {
  UseTestLibrary();
  ASSERT_TRUE(StartTray(L"/shex_file=\"x\""));
  const HWND window = FindTray();
  Veto(true);
  EXPECT_EQ(SendMessageW(window, WM_QUERYENDSESSION, 0, 0), 0);
  Expect("query 2 session refused");
  EXPECT_EQ(Seen("shutdown Normal"), 0u);

  // A session that dies now waits for what becomes of the logoff.
  EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, L"/shex_verb=\"e2e_die\""));
  Expect("died Normal");
  Sleep(1500);
  EXPECT_EQ(Seen("start Normal"), 1u);
  EXPECT_EQ(SendMessageW(window, WM_ENDSESSION, FALSE, 0), 0);
  Expect("start Normal", 2);

  // Refused twice: the second question is put as the first was.
  EXPECT_EQ(SendMessageW(window, WM_QUERYENDSESSION, 0, 0), 0);
  Expect("query 2 session refused", 2);
  EXPECT_EQ(SendMessageW(window, WM_ENDSESSION, FALSE, 0), 0);

  Veto(false);
  EXPECT_EQ(SendMessageW(window, WM_QUERYENDSESSION, 0, 0), 1);
  EXPECT_EQ(WaitForTray(), 0u);
  Expect("query 2 session agreed");
  EXPECT_EQ(Seen("release Normal"), 1u);
  Expect("destroy");
}

}  // namespace
}  // namespace vel::test
