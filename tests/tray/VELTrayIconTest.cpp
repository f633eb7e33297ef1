#include "tray/VELTrayIcon.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <vector>

#include "TrayFixture.h"
#include "sessions/SessionEnding.h"
#include "support/LogCapture.h"
#include "tray/GuiIpc.h"
#include "tray/NotifyRecord.h"

namespace vel {
namespace {

using test::Eventually;
using test::FakeShell;
using test::Menu;
using test::ShellCall;

struct IpcCall {
  std::uint32_t command;
  std::wstring text;
};

// Answers as the test says and keeps what came.
class FakeIpc : public IVelGuiIpc {
 public:
  std::uint32_t on_gui_ipc(std::uint32_t command,
                           const std::wstring& text) override {
    const std::lock_guard lock(_mutex);
    _calls.push_back({command, text});
    return answer;
  }
  std::vector<IpcCall> Calls() const {
    const std::lock_guard lock(_mutex);
    return _calls;
  }

  std::atomic<std::uint32_t> answer{1};

 private:
  mutable std::mutex _mutex;
  std::vector<IpcCall> _calls;
};

class FakeHandler : public IVelMenuItemHandler {
 public:
  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override {
    last_event = event;
    last_id = id;
    last_param = param;
    ++events;
  }

  std::uint32_t last_event = 99;
  std::uint32_t last_id = 0;
  std::uintptr_t last_param = 0;
  std::atomic<int> events{0};
};

const auto kIconA = reinterpret_cast<HICON>(std::uintptr_t{0x1111});
const auto kIconB = reinterpret_cast<HICON>(std::uintptr_t{0x2222});

// A real window on a thread of its own, with the shell and the menu replaced.
class VELTrayIconTest : public testing::Test {
 public:
  VELTrayIconTest() {
    Menu() = FakeMenuRecord{};
    s_test = this;
    TrayMenuOwner owner;
    owner.build_menu = [](void* self) {
      static_cast<VELTrayIconTest*>(self)->Build();
    };
    owner.arg = this;
    _icon.reset(new VELTrayIcon(&_ipc, kIconA, L"first tip", owner));
  }

  void Build() {
    _icon->add_menu_item(0, VEL_MENU_ITEM_BOLD, 7, L"Open", &_handler, true);
    _icon->add_menu_item(3, VEL_MENU_ITEM_PLAIN, 8, L"More", nullptr, false);
  }

  LRESULT Send(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) const {
    return SendMessageW(_icon->window(), message, wparam, lparam);
  }
  LRESULT Mouse(LPARAM mouse_message) const {
    return Send(kTrayCallbackMessage, 77, mouse_message);
  }
  // The latest record that the shell was given.
  NOTIFYICONDATAW Shown() const { return _shell.Calls().back().data; }
  bool WaitForCalls(std::size_t count) const {
    return Eventually([&] { return _shell.Calls().size() >= count; });
  }
  // Shows the icon and forgets the calls up to then.
  void Show() {
    _icon->set_visible(true);
    ASSERT_TRUE(WaitForCalls(1));
    Send(WM_NULL);
    _shell.Clear();
  }

  static inline VELTrayIconTest* s_test = nullptr;
  FakeShell _shell;
  FakeIpc _ipc;
  FakeHandler _handler;
  std::shared_ptr<VELTrayIcon> _icon;
};

TEST_F(VELTrayIconTest, HasAHiddenWindowThatOthersFind) {
  const HWND window = FindWindowW(VEL_TRAY_WINDOW_CLASS, L"");
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(window, _icon->window());
  RECT place{};
  GetWindowRect(window, &place);
  EXPECT_EQ(place.right - place.left, 0);
  EXPECT_TRUE(GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_TOOLWINDOW);
  // The address comes back whole out of its 32 bits.
  EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA),
            reinterpret_cast<LONG_PTR>(_icon.get()));
}

TEST_F(VELTrayIconTest, CantBeClosedFromOutside) {
  EXPECT_EQ(Send(WM_SYSCOMMAND, SC_CLOSE, 0), 0);
  EXPECT_TRUE(IsWindow(_icon->window()));
}

TEST_F(VELTrayIconTest, IsHiddenUntilAsked) {
  Send(taskbar_created_message);
  EXPECT_EQ(_shell.Sequence(), "");
  _icon->set_visible(true);
  ASSERT_TRUE(WaitForCalls(1));
  const NOTIFYICONDATAW data = Shown();
  EXPECT_EQ(data.cbSize, 952u);
  EXPECT_EQ(data.hWnd, _icon->window());
  EXPECT_EQ(data.uID,
            static_cast<UINT>(reinterpret_cast<std::uintptr_t>(_icon.get())));
  EXPECT_EQ(data.uFlags, 7u);
  EXPECT_EQ(data.uCallbackMessage, 2146u);
  EXPECT_EQ(data.hIcon, kIconA);
  EXPECT_STREQ(data.szTip, L"first tip");
}

TEST_F(VELTrayIconTest, WalksThroughItsStates) {
  Show();
  Send(taskbar_created_message);  // The shell has come up anew.
  EXPECT_EQ(_shell.Sequence(), "A");
  _shell.Refuse(true, false);  // It is there already.
  Send(taskbar_created_message);
  EXPECT_EQ(_shell.Sequence(), "AAM");
  _icon->set_visible(false);
  ASSERT_TRUE(WaitForCalls(4));
  Send(taskbar_created_message);  // Hidden and not there: nothing.
  EXPECT_EQ(_shell.Sequence(), "AAMD");
}

TEST_F(VELTrayIconTest, AsksTheShellOnItsOwnThreadOnly) {
  Show();
  _icon->set_tip(L"x");
  _icon->set_icon(kIconB);
  _icon->show_balloon(L"y", nullptr, 0);
  ASSERT_TRUE(WaitForCalls(5));
  const DWORD owner = GetWindowThreadProcessId(_icon->window(), nullptr);
  for (const ShellCall& call : _shell.Calls()) EXPECT_EQ(call.thread, owner);
}

TEST_F(VELTrayIconTest, CutsTheTip) {
  Show();
  _icon->set_tip(std::wstring(300, L't'));
  ASSERT_TRUE(WaitForCalls(1));
  EXPECT_EQ(std::wstring(Shown().szTip), std::wstring(127, L't'));
}

TEST_F(VELTrayIconTest, TakesTheProductNameForATipThatCantBeRead) {
  Show();
  EXPECT_EQ(Send(kTraySetTipMessage, 0, 8), 1);
  EXPECT_STREQ(Shown().szTip, L"Test Product");
}

TEST_F(VELTrayIconTest, HandsBackTheFormerIcon) {
  Show();
  EXPECT_EQ(Send(kTraySetIconMessage, 0, reinterpret_cast<LPARAM>(kIconB)),
            reinterpret_cast<LRESULT>(kIconA));
  EXPECT_EQ(Shown().hIcon, kIconB);
}

// Each thread at work posts two refreshes, however many more the shell's
// refusals have started.
TEST_F(VELTrayIconTest, RetriesWithFourThreadsAtMost) {
  const test::LogCapture log(2);
  Show();
  _shell.Refuse(true, true);
  for (int i = 0; i < 10; ++i) Send(taskbar_created_message);
  _shell.Refuse(false, false);
  const std::size_t refused = _shell.Calls().size();
  EXPECT_EQ(refused, 20u);
  const std::wstring entered =
      L"VELTrayIcon::s_hack_update_icon_thread entered_counter=";
  const auto threads = [&] {
    int all = 0;
    int at_work = 0;
    for (const test::LogLine& line : log.Lines()) {
      const std::size_t place = line.text.find(entered);
      if (place == std::wstring::npos) continue;
      const int n = _wtoi(line.text.c_str() + place + entered.size());
      ++all;
      if (n < 5) ++at_work;
    }
    return std::pair(all, at_work);
  };
  ASSERT_TRUE(Eventually([&] { return threads().first == 10; }));
  const int at_work = threads().second;
  EXPECT_GE(at_work, 4);
  EXPECT_LT(at_work, 10);
  const std::size_t expected = refused + 2 * static_cast<std::size_t>(at_work);
  EXPECT_TRUE(WaitForCalls(expected));
  Sleep(100);
  EXPECT_EQ(_shell.Calls().size(), expected);
}

TEST_F(VELTrayIconTest, ShowsABalloonOnAFreshIcon) {
  Show();
  _icon->show_balloon(std::wstring(300, L'b'), &_handler, NIIF_WARNING);
  ASSERT_TRUE(WaitForCalls(3));
  EXPECT_EQ(_shell.Sequence(), "DAM");
  const NOTIFYICONDATAW data = Shown();
  EXPECT_EQ(data.uFlags, UINT{NIF_INFO});
  EXPECT_EQ(data.dwInfoFlags, DWORD{NIIF_WARNING});
  EXPECT_STREQ(data.szInfoTitle, L"Test Product");
  EXPECT_EQ(std::wstring(data.szInfo), std::wstring(255, L'b'));

  EXPECT_EQ(Mouse(NIN_BALLOONUSERCLICK), 1);
  EXPECT_EQ(_handler.events, 1);
  EXPECT_EQ(_handler.last_event, VEL_MENU_EVENT_BALLOON_CLICK);
  EXPECT_EQ(_handler.last_id, 2146u);
  EXPECT_EQ(_handler.last_param, 77u);
}

TEST_F(VELTrayIconTest, TakesAHiddenIconAwayBehindABalloon) {
  _icon->show_balloon(L"b", nullptr, 0);
  ASSERT_TRUE(WaitForCalls(4));
  EXPECT_EQ(_shell.Sequence(), "DAMD");
  EXPECT_EQ(Mouse(NIN_BALLOONUSERCLICK), 1);  // Without a handler: nothing.
}

TEST_F(VELTrayIconTest, BuildsThePopupAnewForEachRightClick) {
  for (int round = 1; round <= 2; ++round) {
    EXPECT_EQ(Mouse(WM_RBUTTONUP), 1);
    EXPECT_EQ(Menu().shown, round);
    EXPECT_EQ(Menu().cleared, round);
    EXPECT_EQ(Menu().item_count, 2);
  }
  EXPECT_EQ(Menu().made, 1);
  EXPECT_EQ(Menu().owner, _icon->window());
  const FakeMenuItem& bold = Menu().items[0];
  EXPECT_STREQ(bold.text, L"<b>Open</b>");
  EXPECT_EQ(bold.parent, 0u);
  EXPECT_EQ(bold.id, 7u);
  EXPECT_TRUE(bold.flag);
  const FakeMenuItem& plain = Menu().items[1];
  EXPECT_STREQ(plain.text, L"More");
  EXPECT_EQ(plain.parent, 3u);
  // Handlers are reached through the tray's own reference, null ones too.
  bold.handler->on_menu_event(VEL_MENU_EVENT_CHOSEN, 7, 0);
  plain.handler->on_menu_event(VEL_MENU_EVENT_CHOSEN, 8, 0);
  EXPECT_EQ(_handler.events, 1);
  EXPECT_EQ(_handler.last_id, 7u);

  _icon.reset();
  EXPECT_EQ(Menu().released, 1);
}

TEST_F(VELTrayIconTest, IgnoresClicksWhileThePopupIsOpen) {
  Menu().on_show = [](FakeMenuRecord* record) {
    record->on_show = nullptr;
    s_test->Mouse(WM_RBUTTONUP);
  };
  Mouse(WM_RBUTTONUP);
  EXPECT_EQ(Menu().shown, 1);
  Mouse(WM_RBUTTONUP);
  EXPECT_EQ(Menu().shown, 2);
}

// Other threads wait with their items until the popup has closed.
TEST_F(VELTrayIconTest, HoldsOffItemsWhileThePopupIsOpen) {
  static HANDLE added;
  added = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  static HANDLE thread;
  Menu().on_show = [](FakeMenuRecord*) {
    thread = CreateThread(
        nullptr, 0,
        [](void*) -> DWORD {
          s_test->_icon->add_menu_item(0, 5, 1, L"late", nullptr, false);
          SetEvent(added);
          return 0;
        },
        nullptr, 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(added, 200), DWORD{WAIT_TIMEOUT});
  };
  Mouse(WM_RBUTTONUP);
  EXPECT_EQ(WaitForSingleObject(added, 10000), DWORD{WAIT_OBJECT_0});
  WaitForSingleObject(thread, INFINITE);
  EXPECT_EQ(Menu().item_count, 3);
  CloseHandle(thread);
  CloseHandle(added);
}

TEST_F(VELTrayIconTest, OpensThePopupForOneClick) {
  Mouse(WM_LBUTTONUP);
  EXPECT_TRUE(Eventually([] { return Menu().shown == 1; }));
  EXPECT_EQ(Menu().defaults, 0);
}

// The timer's end is sent by hand. Each double click, a run one or an ignored
// one, puts the next off by twice the time that is set when it ends.
TEST_F(VELTrayIconTest, RunsTheDefaultItemForTwoClicks) {
  const UINT former = GetDoubleClickTime();
  const auto double_click = [&](UINT put_off) {
    SetDoubleClickTime(5000);
    Mouse(WM_LBUTTONUP);
    Mouse(WM_LBUTTONUP);
    SetDoubleClickTime(put_off);
    Send(WM_TIMER, kTrayClickTimer);
  };
  Sleep(20);  // Past the tick of the construction.
  double_click(5000);
  EXPECT_EQ(Menu().defaults, 1);
  EXPECT_EQ(Menu().default_type, 1u);
  double_click(10);
  EXPECT_EQ(Menu().defaults, 1);
  Sleep(50);
  double_click(10);
  EXPECT_EQ(Menu().defaults, 2);
  EXPECT_EQ(Menu().shown, 0);
  SetDoubleClickTime(former);
}

TEST_F(VELTrayIconTest, TakesCommandsApart) {
  struct Row {
    DWORD bytes;
    bool taken;
    std::wstring text;
  };
  const Row rows[] = {{0, false, L""},   {5, false, L""}, {6, true, L""},
                      {7, true, L""},    {8, true, L"a"}, {11, true, L"ab"},
                      {12, true, L"abc"}};
  unsigned char block[] = {9, 0, 0, 0, 'a', 0, 'b', 0, 'c', 0, 0xEE, 0xEE};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.bytes);
    const std::size_t before = _ipc.Calls().size();
    COPYDATASTRUCT data{0, row.bytes, block};
    EXPECT_EQ(Send(WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data)), row.taken);
    ASSERT_EQ(_ipc.Calls().size(), before + (row.taken ? 1 : 0));
    if (!row.taken) continue;
    EXPECT_EQ(_ipc.Calls().back().command, 9u);
    EXPECT_EQ(_ipc.Calls().back().text, row.text);
  }
}

TEST_F(VELTrayIconTest, AnswersTrueForTheResult1Alone) {
  for (const std::uint32_t result : {0u, 1u, 2u, 0xFFFFFFFFu}) {
    _ipc.answer = result;
    EXPECT_EQ(send_gui_ipc(4, nullptr), result == 1);
  }
}

TEST_F(VELTrayIconTest, RefusesTheLogoffThatAPlugInRefuses) {
  _ipc.answer = 2;
  for (int round = 1; round <= 2; ++round) {  // It is asked again.
    EXPECT_EQ(Send(WM_QUERYENDSESSION), 0);
    EXPECT_TRUE(session_ending);
    const std::vector<IpcCall> calls = _ipc.Calls();
    ASSERT_EQ(calls.size(), static_cast<std::size_t>(round));
    EXPECT_EQ(calls.back().command, 3u);
    EXPECT_EQ(calls.back().text, L"2");
    // Windows tells that the session goes on.
    EXPECT_EQ(Send(WM_ENDSESSION, FALSE), 0);
    EXPECT_FALSE(session_ending);
  }
}

TEST_F(VELTrayIconTest, AgreesToTheLogoffOnce) {
  EXPECT_EQ(Send(WM_QUERYENDSESSION), 1);
  const std::vector<IpcCall> calls = _ipc.Calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].command, 3u);
  EXPECT_EQ(calls[1].command, 2u);
  EXPECT_EQ(calls[1].text, L"");
  // It is ending already: a second question asks nobody.
  EXPECT_EQ(Send(WM_QUERYENDSESSION), 0);
  EXPECT_EQ(_ipc.Calls().size(), 2u);
  EXPECT_EQ(Send(WM_ENDSESSION, TRUE), 0);
  EXPECT_TRUE(session_ending);
  session_ending = false;
}

TEST_F(VELTrayIconTest, LeavesNothingBehind) {
  Show();
  const HWND window = _icon->window();
  _icon.reset();
  EXPECT_EQ(_shell.Sequence(), "D");
  EXPECT_FALSE(IsWindow(window));
}

}  // namespace
}  // namespace vel
