#include "tray/TrayMenuHolder.h"

#include <thread>

#include "TrayFixture.h"
#include "process/ProcessState.h"
#include "tray/GuiIpc.h"
#include "tray/TrayMessages.h"

namespace vel {
namespace {

using test::Menu;
using test::Product;

using TextLines = std::vector<std::wstring>;

class TrayMenuHolderTest : public test::TrayFixture {
 protected:
  void OpenMenu() {
    SendMessageW(Window(), kTrayCallbackMessage, 0, WM_RBUTTONUP);
  }
  const FakeMenuItem& LastItem() { return Menu().items[Menu().item_count - 1]; }
};

TEST_F(TrayMenuHolderTest, ComesUpWithoutAService) {
  // What a plug-in wants before there is an icon is shown with the icon.
  Product().on_create = [](IVelPluginHost* host, const wchar_t* plugin) {
    host->set_notify_hint(plugin);
    host->post_broadcast(L"early", 0, 0);
  };
  Start();
  EXPECT_NE(Window(), nullptr);
  EXPECT_FALSE(Has(L"a: broadcast VELSVC_INITIALIZED 1"));
  tray().process_runcmd(L"");
  EXPECT_TRUE(WaitForTip(L"Test Product\r\na\r\nb"));
}

TEST_F(TrayMenuHolderTest, StopsPlugInsBeforeSessions) {
  Start();
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_OK);
  ForgetLines();
  _tray.reset();
  EXPECT_EQ(Lines(), (TextLines{L"a: destroy", L"b: destroy",
                                L"session Normal: shutdown",
                                L"session Normal: release"}));
  EXPECT_EQ(Window(), nullptr);
}

TEST_F(TrayMenuHolderTest, StartsAndClosesASession) {
  Start();
  ForgetLines();
  IVelPluginHost* const host = Product().hosts[0];
  EXPECT_EQ(host->need_session(L"Normal"), VEL_STATUS_OK);
  EXPECT_EQ(host->need_session(L"nORMAL"), VEL_STATUS_SESSION_ACTIVE);
  EXPECT_EQ(host->close_session(L"other", 1), VEL_STATUS_OK);
  EXPECT_EQ(host->close_session(L"NORMAL", 1), VEL_STATUS_OK);
  EXPECT_EQ(Lines(),
            (TextLines{L"a: startup Normal", L"b: startup Normal",
                       L"session Normal: start", L"a: query Normal 1",
                       L"b: query Normal 1", L"session Normal: shutdown",
                       L"a: shutdown Normal", L"b: shutdown Normal",
                       L"session Normal: release"}));
  // The holder stays, and asks although it has no session.
  EXPECT_EQ(host->close_session(nullptr, 0), VEL_STATUS_OK);
  EXPECT_TRUE(Has(L"a: query none 0"));
  EXPECT_EQ(tray().get_session_holder(L"normal"),
            tray().get_session_holder(L"NORMAL"));
}

TEST_F(TrayMenuHolderTest, KeepsClosedWhatComesBeforeARefusal) {
  Start();
  for (const wchar_t* config : {L"zulu", L"alpha", L"Mike"}) {
    tray().need_session(config);
  }
  Product().refuses = [](const wchar_t* plugin, const wchar_t* config,
                         std::uint32_t) {
    return *plugin == L'a' && std::wstring(config) == L"Mike";
  };
  EXPECT_EQ(tray().close_session(nullptr, 0), VEL_STATUS_REFUSED);
  EXPECT_FALSE(tray().get_session_holder(L"alpha")->is_active());
  EXPECT_TRUE(tray().get_session_holder(L"Mike")->is_active());
  EXPECT_TRUE(tray().get_session_holder(L"zulu")->is_active());
  EXPECT_TRUE(Has(L"b: query Mike 0"));  // Everybody is asked.
  EXPECT_FALSE(Has(L"a: query zulu 0"));
}

TEST_F(TrayMenuHolderTest, PutsExitLastAndEndsByIt) {
  Start();
  tray().need_session(L"Normal");
  OpenMenu();
  ASSERT_EQ(Menu().item_count, 4);
  EXPECT_STREQ(Menu().items[0].text, L"a");
  EXPECT_STREQ(Menu().items[1].text, L"b");
  EXPECT_EQ(Menu().items[2].type, std::uint32_t{VEL_MENU_ITEM_SEPARATOR});
  EXPECT_STREQ(Menu().items[2].text, L"-");
  EXPECT_EQ(LastItem().type, std::uint32_t{VEL_MENU_ITEM_PLAIN});
  EXPECT_STREQ(LastItem().text, L"E&xit");

  LastItem().handler->on_menu_event(VEL_MENU_EVENT_BALLOON_CLICK, 0, 0);
  EXPECT_FALSE(QuitPosted());
  LastItem().handler->on_menu_event(VEL_MENU_EVENT_CHOSEN, 0, 0);
  EXPECT_TRUE(QuitPosted());
  EXPECT_TRUE(Has(L"a: query Normal 0"));
  EXPECT_TRUE(Has(L"session Normal: release"));
}

TEST_F(TrayMenuHolderTest, GoesOnWhenAPlugInRefusesTheEnd) {
  Start();
  tray().process_runcmd(L"");
  tray().need_session(L"Normal");
  Product().refuses = [](const wchar_t*, const wchar_t*, std::uint32_t) {
    return true;
  };
  _shell.Clear();
  EXPECT_EQ(tray().shutdown(VEL_SHUTDOWN_USER), VEL_STATUS_OK);
  EXPECT_FALSE(QuitPosted());
  EXPECT_TRUE(test::Eventually([&] { return _shell.Calls().size() >= 2; }));
  EXPECT_STREQ(_shell.Calls().front().data.szTip, L"Test Product\r\nClosing");
  EXPECT_TRUE(WaitForTip(L"Test Product"));
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SESSION_ACTIVE);
  OpenMenu();
  EXPECT_EQ(Menu().shown, 1);
}

// A shutdown that waits inside a plug-in's answer.
class ShutdownUnderWay : public TrayMenuHolderTest {
 protected:
  ShutdownUnderWay() {
    s_asked = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    s_answer = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Start();
    tray().need_session(L"Normal");
    Product().refuses = [](const wchar_t*, const wchar_t*, std::uint32_t) {
      SetEvent(s_asked);
      WaitForSingleObject(s_answer, INFINITE);
      return true;
    };
    _thread = std::thread([this] { tray().shutdown(VEL_SHUTDOWN_USER); });
    WaitForSingleObject(s_asked, INFINITE);
  }
  ~ShutdownUnderWay() override {
    Refuse();
    CloseHandle(s_asked);
    CloseHandle(s_answer);
  }
  // The plug-in refuses, and the tray is back.
  void Refuse() {
    SetEvent(s_answer);
    if (_thread.joinable()) _thread.join();
    Product().refuses = nullptr;
  }

 private:
  static inline HANDLE s_asked;
  static inline HANDLE s_answer;
  std::thread _thread;
};

TEST_F(ShutdownUnderWay, StartsNothingNew) {
  EXPECT_EQ(tray().need_session(L"other"), VEL_STATUS_SHUTTING_DOWN);
  EXPECT_EQ(tray().close_session(nullptr, 0), VEL_STATUS_SHUTTING_DOWN);
  EXPECT_EQ(tray().shutdown(VEL_SHUTDOWN_FORCED), VEL_STATUS_SHUTTING_DOWN);
  EXPECT_FALSE(tray().process_runcmd(L"http://x"));
  tray().on_menu_event(VEL_MENU_EVENT_CHOSEN, 0, 0);
  OpenMenu();
  EXPECT_EQ(Menu().item_count, 0);
  EXPECT_FALSE(Has(L"a: popup"));
  // A restart is marked all the same.
  EXPECT_FALSE(restart_after_exit);
  EXPECT_EQ(tray().shutdown(VEL_SHUTDOWN_RESTART), VEL_STATUS_SHUTTING_DOWN);
  EXPECT_TRUE(restart_after_exit.exchange(false));
  Refuse();
  EXPECT_FALSE(QuitPosted());
  EXPECT_EQ(tray().need_session(L"other"), VEL_STATUS_OK);
}

TEST_F(ShutdownUnderWay, AnswersTheCommandsOfAShutdownOnly) {
  struct Row {
    std::uint32_t command;
    std::uint32_t result;
  };
  for (const Row& row : {Row{1, 0}, Row{2, 1}, Row{3, 1}, Row{4, 0}, Row{6, 0},
                         Row{16, 0}, Row{17, 0}}) {
    SCOPED_TRACE(row.command);
    EXPECT_EQ(tray().on_gui_ipc(row.command, L""), row.result);
  }
  std::uint32_t word = 7;
  EXPECT_TRUE(send_gui_ipc_mapped(13, &word, 4));
  EXPECT_EQ(word, 1u);
  Refuse();
  EXPECT_TRUE(send_gui_ipc_mapped(13, &word, 4));
  EXPECT_EQ(word, 0u);
}

}  // namespace
}  // namespace vel
