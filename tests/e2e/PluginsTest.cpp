// plugins.txt, the calls in both directions, and the veto.
#include "harness/ProductTest.h"

#include "helpers/Actions.h"
#include "vel/IVelPlugin.h"

namespace vel::test {
namespace {

class PluginsTest : public ProductTest {
 protected:
  // Lets the test plug-in act, and gives the result that it got.
  std::uint32_t Act(PluginAction action) {
    const std::wstring number = std::to_wstring(unsigned{action});
    const std::wstring done = L"did " + number + L" -> ";
    const std::size_t before = CountBeginning(product.PluginEvents(), done);
    EXPECT_TRUE(SendCommand(VELGUI_IPC_OPEN_UNPROTECTED_BROWSER, number));
    std::wstring result;
    EXPECT_TRUE(WaitUntil([&] {
      const auto events = product.PluginEvents();
      for (const Event& event : events) {
        if (event.text.rfind(done, 0) == 0) {
          result = event.text.substr(done.size());
        }
      }
      return CountBeginning(events, done) > before;
    })) << "action "
        << action << Describe(product.PluginEvents());
    return static_cast<std::uint32_t>(
        std::wcstoul(result.c_str(), nullptr, 16));
  }
};

TEST_F(PluginsTest, BadLinesDoNotStopTheGoodOnes) {
  ASSERT_TRUE(product.Install(L"e2e_plugin.dll", L"Plugins\\test.dll"));
  ASSERT_TRUE(product.Install(L"e2e_plugin.dll", L"Plugins\\last.dll"));
  ASSERT_TRUE(product.Install(L"e2e_plugin.dll", L"Plugins\\refuses.dll"));
  ASSERT_TRUE(product.Install(L"e2e_session.dll", L"Plugins\\noexport.dll"));
  ASSERT_TRUE(product.Write(L"Plugins\\text.dll", "not a library"));
  ASSERT_TRUE(product.Write(L"Plugins\\empty.dll", ""));
  // The last line has no CR LF and doesn't count.
  ASSERT_TRUE(product.SetPlugins(
      "missing.dll\r\ntext.dll,x\r\nempty.dll\r\n\r\n,parameters\r\n"
      "noexport.dll\r\nrefuses.dll,null\r\n..\\VELRCS.dll\r\n"
      "test.dll,a,b %VEL_E2E_NONE%\r\nlast.dll"));
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  ExpectPluginEvent(L"load 'a,b %VEL_E2E_NONE%'");
  ExpectPluginEvent(L"broadcast VELGUI_INITIALIZED");
  EXPECT_EQ(tray.Shutdown(), 0u);
  EXPECT_EQ(Count(product.PluginEvents(), L"destroy"), 1u);
  EXPECT_EQ(product.Events(L"Plugins\\refuses.dll").size(), 1u);
  EXPECT_TRUE(product.Events(L"Plugins\\last.dll").empty());
}

TEST_F(PluginsTest, ListsThatNameNothing) {
  for (const char* text : {"", "\r\n", "\r\n\r\n", ",", "no end", "\n\n\r"}) {
    ASSERT_TRUE(product.SetPlugins(text));
    Tray tray(product);
    EXPECT_TRUE(tray.up()) << text;
    EXPECT_EQ(tray.Shutdown(), 0u) << text;
  }
  ASSERT_TRUE(product.Remove(L"Plugins\\plugins.txt"));
  Tray tray(product);
  EXPECT_TRUE(tray.up());
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(PluginsTest, PostFromLoadReachesThoseInTheList) {
  ASSERT_TRUE(product.Install(L"e2e_plugin.dll", L"Plugins\\test.dll"));
  ASSERT_TRUE(product.Install(L"e2e_plugin.dll", L"Plugins\\poster.dll"));
  ASSERT_TRUE(product.SetPlugins("test.dll\r\nposter.dll,post\r\n"));
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  ExpectPluginEvent(L"broadcast e2e_early");
  EXPECT_EQ(tray.Shutdown(), 0u);
  // In the order of the list.
  const auto last = product.PluginEvents().back();
  EXPECT_EQ(last.text, L"destroy");
  EXPECT_EQ(product.Events(L"Plugins\\poster.dll").back().text, L"destroy");
}

TEST_F(PluginsTest, StatusesOfTheHostsOperations) {
  ASSERT_TRUE(product.UseTestPlugin());
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(Act(kActionNeedNormal), VEL_STATUS_OK);
  EXPECT_EQ(Act(kActionNeedNormal), VEL_STATUS_SESSION_ACTIVE);
  EXPECT_EQ(Act(kActionNeedOther), VEL_STATUS_OK);
  ASSERT_TRUE(product.Veto(true));
  EXPECT_EQ(Act(kActionCloseOther), VEL_STATUS_REFUSED);
  EXPECT_EQ(Act(kActionCloseAll), VEL_STATUS_REFUSED);
  // A refused shutdown is no error.
  EXPECT_EQ(Act(kActionShutdown), VEL_STATUS_OK);
  ASSERT_TRUE(product.Veto(false));
  EXPECT_EQ(Act(kActionCloseOther), VEL_STATUS_OK);
  const auto events = product.SessionEvents();
  EXPECT_EQ(Count(events, L"release Other"), 1u) << Describe(events);
  EXPECT_EQ(Count(events, L"release Normal"), 0u) << Describe(events);
  EXPECT_EQ(Act(kActionNeedOther), VEL_STATUS_OK);
  EXPECT_EQ(Act(kActionCloseAll), VEL_STATUS_OK);
  EXPECT_EQ(Act(kActionSendOwn), 0u);
  EXPECT_EQ(Count(product.PluginEvents(), L"broadcast e2e_own (own)"), 1u);
  EXPECT_TRUE(tray.Runs());
  EXPECT_EQ(Act(kActionShutdown), VEL_STATUS_OK);
  EXPECT_EQ(tray.WaitForExit(), 0u);
}

TEST_F(PluginsTest, VetoKeepsEverythingRunning) {
  ASSERT_TRUE(product.UseTestPlugin());
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product, L"/shex_file=\"x\"");
  ASSERT_TRUE(tray.up());
  ASSERT_TRUE(product.Veto(true));
  EXPECT_FALSE(SendCommand(VELGUI_IPC_SOFT_SHUTDOWN, L"0"));
  // This answer tells nothing of the refusal.
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  ExpectPluginEvent(L"query 1 session refused");
  EXPECT_EQ(Count(product.SessionEvents(), L"shutdown Normal"), 0u);
  // What was ordered stays ordered: no new session for a plug-in, but run
  // commands go on.
  EXPECT_EQ(Act(kActionNeedOther), VEL_STATUS_SHUTTING_DOWN);
  std::vector<unsigned char> block(4);
  ASSERT_TRUE(SendBlock(VELGUI_IPC_IS_SHUTTING_DOWN, block));
  EXPECT_EQ(block[0], 1);
  EXPECT_EQ(product.Run(L"/shex_file=\"y\""), 0u);
  ExpectSessionEvent(L"app Normal||y|||");
  ASSERT_TRUE(product.Veto(false));
  EXPECT_EQ(tray.Shutdown(), 0u);
  EXPECT_EQ(Count(product.SessionEvents(), L"release Normal"), 1u);
}

// No event deadlocks a plug-in that calls its host from it.
TEST_F(PluginsTest, HostCanBeCalledFromEveryEvent) {
  ASSERT_TRUE(product.UseTestPlugin("callback"));
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product, L"/shex_file=\"x\"");
  ASSERT_TRUE(tray.up());
  ExpectPluginEvent(L"startup Normal");
  EXPECT_EQ(Act(kActionNeedOther), VEL_STATUS_OK);
  EXPECT_EQ(Act(kActionCloseAll), VEL_STATUS_OK);
  ExpectPluginEvent(L"shutdown", 2);
  // Each of them called back: the queue's copies arrive after the events.
  ExpectPluginEvent(L"broadcast e2e_called_back (own)", 10);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(PluginsTest, RestartStartsTheProgramAnew) {
  ASSERT_TRUE(product.UseTestPlugin());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  const DWORD first = tray.id();
  EXPECT_EQ(Act(kActionRestart), VEL_STATUS_OK);
  EXPECT_EQ(tray.WaitForExit(), 0u);
  DWORD second = 0;
  ASSERT_TRUE(WaitUntil([&] {
    const HWND window = FindTray();
    if (window) GetWindowThreadProcessId(window, &second);
    return window && second != first;
  }));
  const HANDLE process =
      OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, second);
  ASSERT_NE(process, nullptr);
  // The window is there before the main loop is.
  ExpectPluginEvent(L"broadcast VELGUI_INITIALIZED", 2);
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  EXPECT_EQ(WaitForSingleObject(process, kPatienceMs), WAIT_OBJECT_0);
  DWORD code = kStillRunning;
  EXPECT_TRUE(GetExitCodeProcess(process, &code));
  EXPECT_EQ(code, 0u);
  CloseHandle(process);
}

}  // namespace
}  // namespace vel::test
