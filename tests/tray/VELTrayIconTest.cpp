#include "tray/VELTrayIcon.h"

#include "TrayFixture.h"
#include "sessions/SessionEnding.h"

namespace vel {
namespace {

using test::EventList;

// A window on a thread of its own. The test gets its commands, builds its menu,
// and is the target of items and balloons.
class VELTrayIconTest : public testing::Test,
                        public IVelGuiIpc,
                        public IVelMenuItemHandler {
 protected:
  VELTrayIconTest() {
    const auto build = [](void* arg) {
      auto* const self = static_cast<VELTrayIconTest*>(arg);
      self->_icon->add_menu_item(0, 1, 7, L"Open", self, true);
      self->_icon->add_menu_item(3, 5, 8, L"More", nullptr, false);
    };
    _icon.reset(new VELTrayIcon(this, nullptr, L"first tip", {build, this}));
    _menu.Settle(_icon->window());
  }
  std::uint32_t on_gui_ipc(std::uint32_t command,
                           const std::wstring& text) override {
    _events.add(FormatWide(L"command %u '%s'", command, text.c_str()));
    return _result;
  }
  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override {
    _events.add(FormatWide(L"event %u %u %I64u", event, id, param));
  }
  LRESULT Send(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) const {
    return SendMessageW(_icon->window(), message, wparam, lparam);
  }
  LRESULT Mouse(LPARAM mouse_message) const {
    return Send(kTrayCallbackMessage, 77, mouse_message);
  }
  // Shows the icon and forgets the calls up to then.
  void Show() {
    _icon->set_visible(true);
    _menu.Settle(_icon->window());
    _shell.Clear();
  }

  test::FakeShell _shell;
  test::FakeMenu _menu;
  test::Events _events;
  std::atomic<std::uint32_t> _result{1};
  std::unique_ptr<VELTrayIcon> _icon;
};

TEST_F(VELTrayIconTest, HasAWindowThatOthersFindAndCantClose) {
  const HWND window = _icon->window();
  EXPECT_EQ(window, FindWindowW(VEL_TRAY_WINDOW_CLASS, L""));
  // The address comes back whole out of its 32 bits.
  EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA),
            reinterpret_cast<LONG_PTR>(_icon.get()));
  EXPECT_EQ(Send(WM_SYSCOMMAND, SC_CLOSE, 0), 0);
  EXPECT_TRUE(IsWindow(window));
  _icon.reset();
  EXPECT_FALSE(IsWindow(window));
}

TEST_F(VELTrayIconTest, WalksThroughItsStates) {
  Send(taskbar_created_message);  // Hidden at first.
  _icon->set_visible(true);
  EXPECT_TRUE(_shell.WaitForTip(L"first tip"));
  Send(taskbar_created_message);  // The shell has come up anew.
  _shell.refused = 1 << NIM_ADD;  // It is there already.
  Send(taskbar_created_message);
  EXPECT_EQ(_shell.Sequence(), "AAAM");
  _icon->set_visible(false);
  _menu.Settle(_icon->window());
  Send(taskbar_created_message);  // Hidden and not there: nothing.
  EXPECT_EQ(_shell.Sequence(), "AAAMD");
}

TEST_F(VELTrayIconTest, ChangesTipAndIcon) {
  Show();
  _icon->set_tip(std::wstring(300, L't'));
  EXPECT_TRUE(_shell.WaitForTip(std::wstring(127, L't')));
  EXPECT_EQ(Send(kTraySetTipMessage, 0, 8), 1);  // no text there
  EXPECT_STREQ(_shell.Shown().szTip, L"Test Product");
  EXPECT_EQ(Send(kTraySetIconMessage, 0, 0x2222), 0);
  EXPECT_EQ(Send(kTraySetIconMessage, 0, 0x3333), 0x2222);
}

// Each thread at work posts two refreshes within two seconds, however many more
// the shell's refusals have started.
TEST_F(VELTrayIconTest, RetriesWithFourThreadsAtMost) {
  Show();
  _shell.refused = 1 << NIM_ADD | 1 << NIM_MODIFY;
  for (int i = 0; i < 10; ++i) Send(taskbar_created_message);
  _shell.refused = 0;
  EXPECT_EQ(_shell.Sequence().size(), 20u);
  EXPECT_TRUE(test::WaitUntil([&] { return _shell.Sequence().size() >= 28; }));
  Sleep(1000);
  EXPECT_LT(_shell.Sequence().size(), 40u);
}

TEST_F(VELTrayIconTest, ShowsABalloonOnAFreshIcon) {
  Show();
  _icon->show_balloon(std::wstring(300, L'b'), this, NIIF_WARNING);
  _menu.Settle(_icon->window());
  EXPECT_EQ(_shell.Sequence(), "DAM");
  EXPECT_EQ(_shell.Shown().uFlags, UINT{NIF_INFO});
  EXPECT_EQ(_shell.Shown().dwInfoFlags, DWORD{NIIF_WARNING});
  EXPECT_STREQ(_shell.Shown().szInfoTitle, L"Test Product");
  EXPECT_EQ(std::wstring(_shell.Shown().szInfo), std::wstring(255, L'b'));
  EXPECT_EQ(Mouse(NIN_BALLOONUSERCLICK), 1);
  EXPECT_EQ(_events.take(), EventList{L"event 0 2146 77"});
  _icon->set_visible(false);
  _icon->show_balloon(L"from a hidden icon, which goes again", nullptr, 0);
  EXPECT_TRUE(
      test::WaitUntil([&] { return _shell.Sequence() == "DAMDDAMD"; }));
}

TEST_F(VELTrayIconTest, BuildsThePopupAnewForEachRightClick) {
  _menu.on_show = [this] { Mouse(WM_RBUTTONUP); };  // ignored: it is open
  for (int round = 1; round <= 2; ++round) {
    Mouse(WM_RBUTTONUP);
    EXPECT_EQ(_menu.shown, round);
    ASSERT_EQ(_menu.items,
              (EventList{L"0 1 7 <b>Open</b> 1", L"3 5 8 More 0"}));
  }
  _menu.handlers[0]->on_menu_event(VEL_MENU_EVENT_CHOSEN, 7, 0);
  _menu.handlers[1]->on_menu_event(VEL_MENU_EVENT_CHOSEN, 8, 0);
  EXPECT_EQ(_events.take(), EventList{L"event 5 7 0"});
  _icon.reset();
  EXPECT_EQ(_menu.released, 1);
}

// The timer's end is sent by hand. Each double click, a run one or an ignored
// one, puts the next off by twice the time that is set when it ends.
TEST_F(VELTrayIconTest, TellsOneClickFromTwo) {
  const UINT former = GetDoubleClickTime();
  const auto click = [&](int count, UINT put_off) {
    SetDoubleClickTime(5000);
    while (count-- > 0) Mouse(WM_LBUTTONUP);
    SetDoubleClickTime(put_off);
    Send(WM_TIMER, kTrayClickTimer);
    Sleep(50);
    return std::pair(_menu.shown.load(), _menu.defaults.load());
  };
  EXPECT_EQ(click(1, 5000), std::pair(1, 0));
  EXPECT_EQ(click(2, 5000), std::pair(1, 1));
  EXPECT_EQ(click(2, 10), std::pair(1, 1));
  EXPECT_EQ(click(2, 10), std::pair(1, 2));
  SetDoubleClickTime(former);
}

TEST_F(VELTrayIconTest, TakesCommandsApart) {
  unsigned char block[] = {9, 0, 0, 0, 'a', 0, 'b', 0, 'c', 0, 0xEE, 0xEE};
  for (const auto& [bytes, command] :
       {std::pair<DWORD, const wchar_t*>{5, nullptr},
        {6, L"command 9 ''"},
        {11, L"command 9 'ab'"},
        {12, L"command 9 'abc'"}}) {
    COPYDATASTRUCT data{0, bytes, block};
    EXPECT_EQ(Send(WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data)),
              command != nullptr);
    EXPECT_EQ(_events.take(), command ? EventList{command} : EventList{});
  }
  COPYDATASTRUCT no_block{0, 6, nullptr};
  EXPECT_EQ(Send(WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&no_block)), 0);
  for (const std::uint32_t result : {0u, 1u, 2u, 0xFFFFFFFFu}) {
    _result = result;
    EXPECT_EQ(send_gui_ipc(4, L"text"), result == 1);
    EXPECT_EQ(_events.take(), EventList{L"command 4 'text'"});
  }
}

TEST_F(VELTrayIconTest, AgreesToALogoffOnceAndAsksAgainAfterARefusal) {
  _result = 2;
  for (int round = 1; round <= 2; ++round) {
    EXPECT_EQ(Send(WM_QUERYENDSESSION), 0);
    EXPECT_TRUE(session_ending);
    EXPECT_EQ(_events.take(), EventList{L"command 3 '2'"});
    EXPECT_EQ(Send(WM_ENDSESSION, FALSE), 0);  // It goes on.
    EXPECT_FALSE(session_ending);
  }
  _result = 1;
  EXPECT_EQ(Send(WM_QUERYENDSESSION), 1);
  EXPECT_EQ(Send(WM_QUERYENDSESSION), 0);  // It is ending: nobody is asked.
  EXPECT_EQ(_events.take(), (EventList{L"command 3 '2'", L"command 2 ''"}));
  EXPECT_EQ(Send(WM_ENDSESSION, TRUE), 0);
  EXPECT_TRUE(session_ending.exchange(false));
}

}  // namespace
}  // namespace vel
