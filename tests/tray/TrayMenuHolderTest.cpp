#include "tray/TrayMenuHolder.h"

#include "TrayFixture.h"
#include "process/ProcessState.h"

namespace vel {
namespace {

using test::EventList;
using TrayMenuHolderTest = test::TrayFixture;

TEST_F(TrayMenuHolderTest, MergesHintsAndIconsInTheOrderOfThePlugIns) {
  tray().process_runcmd(L"");
  EXPECT_TRUE(_shell.WaitForTip(L"Test Product\r\na\r\nb"));
  for (const auto& [plugin, hint, tip] :
       {std::tuple{&_b, L"two", L"Test Product\r\na\r\ntwo"},
        {&_a, L"", L"Test Product\r\ntwo"},
        {&_a, L"one", L"Test Product\r\none\r\ntwo"},
        {&_a, nullptr, L"Test Product\r\ntwo"},
        {&_a, nullptr, L"Test Product\r\ntwo"}}) {
    _shell.Clear();
    plugin->host->set_notify_hint(hint);
    EXPECT_TRUE(_shell.WaitForTip(tip)) << tip;
  }
  const HICON own = _shell.Shown().hIcon;
  const auto other = reinterpret_cast<HICON>(std::uintptr_t{0xA0});
  const auto last = reinterpret_cast<HICON>(std::uintptr_t{0xB0});
  _b.host->set_notify_icon(last);
  EXPECT_TRUE(_shell.WaitForIcon(last));
  _a.host->set_notify_icon(other);
  _b.host->set_notify_icon(nullptr);
  EXPECT_TRUE(_shell.WaitForIcon(other));
  _a.host->set_notify_icon(nullptr);
  EXPECT_TRUE(_shell.WaitForIcon(own));
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

TEST_F(TrayMenuHolderTest, PutsExitLastAndEndsByIt) {
  tray().need_session(L"Normal");
  SendMessageW(Window(), kTrayCallbackMessage, 0, WM_RBUTTONUP);
  ASSERT_EQ(_menu.items, (EventList{L"0 5 1 own 0", L"0 5 1 own 0",
                                    L"0 257 0 - 0", L"0 5 0 E&xit 0"}));
  _menu.handlers[3]->on_menu_event(VEL_MENU_EVENT_BALLOON_CLICK, 0, 0);
  EXPECT_FALSE(QuitPosted());
  _menu.handlers[3]->on_menu_event(VEL_MENU_EVENT_CHOSEN, 0, 0);
  EXPECT_TRUE(QuitPosted());
  EXPECT_TRUE(Has(L"a: query 0"));
  EXPECT_TRUE(Has(L"release"));
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
    tray().on_menu_event(VEL_MENU_EVENT_CHOSEN, 0, 0);
    SendMessageW(Window(), kTrayCallbackMessage, 0, WM_RBUTTONUP);
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
  EXPECT_TRUE(send_gui_ipc_mapped(13, &word, 4));
  EXPECT_EQ(word, 0u);
}

// For want of room below 2 GiB, where the icon has to lie.
TEST_F(TrayMenuHolderTest, StopsThePlugInsWhenItCantComeUp) {
  _tray.reset();
  Take();
  std::vector<void*> taken;
  for (std::uintptr_t at = 0x10000; at < 0x80000000; at += 0x10000) {
    auto* const hint = reinterpret_cast<void*>(at);
    taken.push_back(VirtualAlloc(hint, 0x10000, MEM_RESERVE, PAGE_NOACCESS));
  }
  EXPECT_THROW(TrayMenuHolder{nullptr}, std::bad_alloc);
  for (void* block : taken) VirtualFree(block, 0, MEM_RELEASE);
  EXPECT_EQ(Take(), (EventList{L"a: destroy", L"b: destroy"}));
}

}  // namespace
}  // namespace vel
