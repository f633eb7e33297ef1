// The tray with its icon and menu.

#include "TrayFixture.h"
#include "process/ProcessState.h"
#include "sessions/SessionEnding.h"
#include "support/LogCapture.h"
#include "support/Threads.h"

namespace vel {
namespace {

using test::EventList;
using TrayMenuHolderTest = test::TrayFixture;
using VELTrayIconTest = test::TrayFixture;

TEST_F(TrayMenuHolderTest, MergesHintsAndIconsInTheOrderOfThePlugIns) {
  tray().process_runcmd(L"");
  EXPECT_TRUE(_shell.WaitForTip(L"Test Product\r\na\r\nb"));
  for (const auto& [plugin, hint, tip] :
       {std::tuple{&_b, L"two", L"Test Product\r\na\r\ntwo"},
        {&_a, L"", L"Test Product\r\ntwo"},
        {&_a, L"one", L"Test Product\r\none\r\ntwo"},
        {&_a, nullptr, L"Test Product\r\ntwo"}}) {
    plugin->host->set_notify_hint(hint);
    EXPECT_TRUE(_shell.WaitForTip(tip)) << tip;
  }
  const auto icon = reinterpret_cast<HICON>(std::uintptr_t{0xA0});
  _a.host->set_notify_icon(icon);
  _menu.Settle(Window());
  EXPECT_EQ(_shell.Now().shown.hIcon, icon);
}

TEST_F(TrayMenuHolderTest, KeepsClosedWhatComesBeforeARefusal) {
  for (const wchar_t* config : {L"zulu", L"alpha", L"Mike"}) {
    EXPECT_EQ(_a.host->need_session(config), VEL_STATUS_OK);
  }
  EXPECT_EQ(_a.host->need_session(L"mIKE"), VEL_STATUS_SESSION_ACTIVE);
  int queries = 0;
  _a.on_event = [&](const std::wstring& event) {
    if (event == L"query") _a.agrees = ++queries != 2;
  };
  EXPECT_EQ(tray().close_session(nullptr, 0), VEL_STATUS_REFUSED);
  EXPECT_FALSE(tray().get_session_holder(L"alpha")->is_active());
  EXPECT_TRUE(tray().get_session_holder(L"Mike")->is_active());
}

TEST_F(TrayMenuHolderTest, BuildsTheMenuAnewWithExitLastAndEndsByIt) {
  tray().need_session(L"Normal");
  Take();
  _a.on_item = this;
  _menu.on_show = [] { Mouse(WM_RBUTTONUP); };  // ignored: it is open
  for (int round = 1; round <= 2; ++round) {
    Mouse(WM_RBUTTONUP);
    EXPECT_EQ(_menu.shown, round);
    ASSERT_EQ(_menu.items,
              (EventList{L"0 1 7 <b>own</b> 1", L"0 1 7 <b>own</b> 1",
                         L"0 257 0 - 0", L"0 5 0 E&xit 0"}));
  }
  for (int item : {0, 1}) {  // The second has no handler.
    _menu.handlers[item]->on_menu_event(VEL_MENU_EVENT_CHOSEN, 7, 0);
  }
  EXPECT_EQ(Take(), EventList{L"event 5 7 0"});
  _menu.handlers[3]->on_menu_event(VEL_MENU_EVENT_BALLOON_CLICK, 0, 0);
  EXPECT_FALSE(QuitPosted());
  _menu.handlers[3]->on_menu_event(VEL_MENU_EVENT_CHOSEN, 0, 0);
  EXPECT_TRUE(QuitPosted());
  EXPECT_TRUE(Has(L"a: query 0") && Has(L"release"));
  // The plug-in is about to go, and the menu may still be open.
  icon().detach_menu_handlers();
  _menu.handlers[0]->on_menu_event(VEL_MENU_EVENT_CHOSEN, 7, 0);
  icon().add_menu_item(0, VEL_MENU_ITEM_PLAIN, 7, L"late", this, false);
  _menu.handlers.back()->on_menu_event(VEL_MENU_EVENT_CHOSEN, 7, 0);
  EXPECT_FALSE(Has(L"event 5 7 0"));
}

// Looks round inside the answer of a plug-in, which then refuses.
TEST_F(TrayMenuHolderTest, StartsNothingNewDuringAShutdown) {
  tray().process_runcmd(L"");
  tray().need_session(L"Normal");
  std::uint32_t word = 7;
  _a.agrees = false;
  _a.on_event = [&](const std::wstring& event) {
    if (event != L"query") return;
    EXPECT_TRUE(_shell.WaitForTip(L"Test Product\r\nClosing"));
    EXPECT_EQ(tray().need_session(L"other"), VEL_STATUS_SHUTTING_DOWN);
    EXPECT_EQ(tray().close_session(nullptr, 0), VEL_STATUS_SHUTTING_DOWN);
    Mouse(WM_RBUTTONUP);
    EXPECT_TRUE(_menu.items.empty());
    for (const auto& [command, result] :
         {std::pair{1u, 0u}, {2u, 1u}, {3u, 1u}, {4u, 0u}, {17u, 0u}}) {
      EXPECT_EQ(tray().on_gui_ipc(command, L""), result) << command;
    }
    EXPECT_TRUE(send_gui_ipc_mapped(13, &word, 4));
    EXPECT_EQ(word, 1u);
    // A restart is marked all the same.
    EXPECT_EQ(tray().shutdown(VEL_SHUTDOWN_RESTART), VEL_STATUS_SHUTTING_DOWN);
    EXPECT_TRUE(restart_after_exit.exchange(false));
  };
  EXPECT_EQ(tray().shutdown(VEL_SHUTDOWN_USER), VEL_STATUS_OK);
  EXPECT_FALSE(QuitPosted());
  EXPECT_TRUE(_shell.WaitForTip(L"Test Product\r\na\r\nb"));
}

// Both have passed the test of the flag and wait for the session's lock.
TEST_F(TrayMenuHolderTest, WhatWaitsBehindAShutdownStartsNothing) {
  tray().need_session(L"Normal");
  VelSessionHolder* const holder = tray().get_session_holder(L"Normal");
  std::uint32_t result = 0;
  std::vector<std::jthread> waiting;
  _a.on_event = [&](const std::wstring& event) {
    if (event != L"query") return;
    waiting.emplace_back(
        [&] { result = holder->start_app(L"", L"f", L"", L"", L""); });
    waiting.emplace_back([&] { holder->make_active(); });
    Sleep(300);
  };
  Take();
  EXPECT_EQ(tray().close_session(L"Normal", 0), VEL_STATUS_OK);
  waiting.clear();
  EXPECT_EQ(result, 7u) << "any other close";
  EXPECT_TRUE(Has(L"create"));
  Take();
  EXPECT_EQ(tray().shutdown(VEL_SHUTDOWN_USER), VEL_STATUS_OK);
  waiting.clear();
  EXPECT_EQ(result, std::uint32_t{VEL_STATUS_SHUTTING_DOWN});
  EXPECT_TRUE(Has(L"release") && !Has(L"create"));
  EXPECT_TRUE(QuitPosted());
}

constexpr std::uint32_t kRing = VEL_STATUS_POSSIBLE_DEADLOCK;

TEST_F(TrayMenuHolderTest, RefusesWhatWouldWaitForItsOwnSessionEvent) {
  tray().process_runcmd(L"");
  const test::LogCapture log;
  bool inside = false;
  EventList asked;
  _a.on_event = [&](const std::wstring& event) {
    if (std::exchange(inside, true)) return;
    asked.push_back(event);
    for (const wchar_t* own : {L"Normal", L"normal"}) {
      EXPECT_EQ(_a.host->need_session(own), kRing) << event;
      EXPECT_EQ(_a.host->close_session(own, 0), kRing) << event;
    }
    EXPECT_EQ(_a.host->close_session(nullptr, 0), kRing) << event;
    EXPECT_EQ(_a.host->shutdown(VEL_SHUTDOWN_RESTART), kRing) << event;
    EXPECT_TRUE(restart_after_exit.exchange(false)) << "marked all the same";
    // Another configuration is in no ring until something is closed.
    const std::uint32_t other = event == L"startup" ? VEL_STATUS_OK : kRing;
    EXPECT_EQ(_a.host->need_session(L"Other"), other) << event;
    EXPECT_EQ(_a.host->close_session(L"Other", 0), other) << event;
    inside = false;
  };
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_OK);
  EXPECT_TRUE(log.Contains(3, L"FakePlugin.dll"));
  EXPECT_EQ(tray().close_session(L"Normal", 0), VEL_STATUS_OK);
  _a.on_event = nullptr;
  EXPECT_EQ(asked, (EventList{L"startup", L"query", L"shutdown"}));
  EXPECT_FALSE(QuitPosted());
  EXPECT_TRUE(_shell.WaitForTip(L"Test Product\r\na\r\nb"));
}

// One thread is in the start of a session and needs another one; the other
// closes all of them and waits for the start, or needs the first in turn.
TEST_F(TrayMenuHolderTest, RefusesTheCallThatClosesARingOfTwoThreads) {
  test::Meeting both(2);
  std::atomic<int> refused{0};
  const auto ask = [&](const wchar_t* config) {
    both.Join();
    Sleep(200);
    refused += _a.host->need_session(config) == kRing;
  };
  std::atomic<bool> crossing{true};
  _a.on_startup = [&](const std::wstring& config) {
    if (crossing) ask(config == L"One" ? L"Two" : L"One");
  };
  test::RunTogether(2, [&](int i) {
    EXPECT_EQ(tray().need_session(i ? L"One" : L"Two"), VEL_STATUS_OK);
  });
  EXPECT_GE(refused, 1);
  crossing = false;
  tray().need_session(L"Later");
  EXPECT_EQ(tray().close_session(nullptr, 0), VEL_STATUS_OK);
  std::atomic<bool> starting{false};
  _a.on_startup = [&](const std::wstring&) {
    starting = true;
    Sleep(500);
    EXPECT_EQ(_a.host->need_session(L"Later"), kRing);
  };
  std::jthread start([&] { tray().need_session(L"One"); });
  EXPECT_TRUE(test::WaitUntil([&] { return starting.load(); }));
  EXPECT_EQ(tray().close_session(nullptr, 0), VEL_STATUS_OK);
}

TEST_F(TrayMenuHolderTest, AShutdownThatAnExceptionEndsTakesItsTipBack) {
  tray().process_runcmd(L"");
  tray().need_session(L"Normal");
  _a.on_event = [&](const std::wstring& event) {
    if (event == L"query") throw std::bad_alloc();
  };
  EXPECT_THROW(tray().shutdown(VEL_SHUTDOWN_USER), std::bad_alloc);
  EXPECT_TRUE(_shell.WaitForTip(L"Test Product\r\na\r\nb"));
  // A soft one that ends so counts as refused.
  EXPECT_EQ(tray().on_gui_ipc(3, L"0"), 0u);
  _a.on_event = nullptr;
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SESSION_ACTIVE);
}

TEST_F(VELTrayIconTest, ACloseOfTheWindowAsksForTheEndAsExitDoes) {
  tray().need_session(L"Normal");
  const HWND window = Window();
  _a.on_event = [&](const std::wstring&) {
    EXPECT_NE(GetCurrentThreadId(), GetWindowThreadProcessId(window, nullptr));
  };
  for (const bool agrees : {false, true}) {
    Take();
    _a.agrees = agrees;
    EXPECT_EQ(Send(WM_CLOSE), 0);
    EXPECT_TRUE(test::WaitUntil([&] { return Has(L"a: query 0"); }));
    EXPECT_TRUE(IsWindow(window));
    Sleep(100);
  }
  EXPECT_TRUE(test::WaitUntil(QuitPosted));
}

TEST_F(VELTrayIconTest, TheEndClosesAnOpenMenu) {
  const HWND window = Window();
  std::atomic<bool> open{false};
  _menu.on_show = [&] {
    const HMENU menu = CreatePopupMenu();
    AppendMenuW(menu, MF_STRING, 1, L"item");
    open = true;
    TrackPopupMenu(menu, TPM_RETURNCMD, 0, 0, 0, window, nullptr);
    DestroyMenu(menu);
  };
  PostMessageW(window, kTrayCallbackMessage, 0, WM_RBUTTONUP);
  EXPECT_TRUE(test::WaitUntil([&] { return open.load(); }));
  Sleep(300);
  // Nobody else closes it in time.
  std::jthread user([&] {
    Sleep(6000);
    PostMessageW(window, WM_CANCELMODE, 0, 0);
  });
  const ULONGLONG start = GetTickCount64();
  _tray.reset();
  EXPECT_LT(GetTickCount64() - start, 5000u);
}

TEST_F(VELTrayIconTest, WalksThroughItsStates) {
  Send(taskbar_created_message);  // Hidden at first.
  icon().set_visible(true);
  _menu.Settle(Window());
  Send(taskbar_created_message);  // The shell has come up anew.
  _shell.refused = 1 << NIM_ADD;  // It is there already.
  Send(taskbar_created_message);
  EXPECT_EQ(_shell.Now().calls, "AAAM");
  icon().set_visible(false);
  _menu.Settle(Window());
  Send(taskbar_created_message);  // Hidden and not there: nothing.
  EXPECT_EQ(_shell.Now().calls, "AAAMD");
}

TEST_F(VELTrayIconTest, ShowsABalloonOnAFreshIcon) {
  Show();
  icon().show_balloon(std::wstring(300, L'b'), this, NIIF_WARNING);
  _menu.Settle(Window());
  const auto [calls, shown] = _shell.Now();
  EXPECT_EQ(calls, "DAM");
  EXPECT_EQ(shown.dwInfoFlags, DWORD{NIIF_WARNING});
  EXPECT_EQ(std::wstring(shown.szInfo), std::wstring(255, L'b'));
  EXPECT_EQ(Mouse(NIN_BALLOONUSERCLICK), 1);
  EXPECT_TRUE(Has(L"event 0 2146 77"));
  icon().set_visible(false);
  icon().show_balloon(L"from a hidden icon, which goes again", nullptr, 0);
  EXPECT_TRUE(
      test::WaitUntil([&] { return _shell.Now().calls == "DAMDDAMD"; }));
}

TEST_F(VELTrayIconTest, AgreesToALogoffOnceAndAsksAgainAfterARefusal) {
  tray().need_session(L"Normal");
  for (const bool agrees : {false, false, true}) {
    Take();
    _a.agrees = agrees;
    EXPECT_EQ(Send(WM_QUERYENDSESSION), agrees);
    EXPECT_TRUE(session_ending);
    EXPECT_TRUE(Has(L"a: query 2"));
    if (agrees) break;
    EXPECT_EQ(Send(WM_ENDSESSION, FALSE), 0);  // It goes on.
    EXPECT_FALSE(session_ending);
  }
  EXPECT_EQ(Send(WM_QUERYENDSESSION), 0);  // It is ending: nobody is asked.
  EXPECT_TRUE(Has(L"release"));
  EXPECT_TRUE(test::WaitUntil(QuitPosted));
  EXPECT_EQ(Send(WM_ENDSESSION, TRUE), 0);
  EXPECT_TRUE(session_ending.exchange(false));
}

}  // namespace
}  // namespace vel
