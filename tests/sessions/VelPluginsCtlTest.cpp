#include "sessions/VelPluginsCtl.h"

#include <thread>

#include "Rig.h"
#include "log/VelLog.h"
#include "sessions/PluginList.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

using test::EventList;

TEST(PluginList, ReadsWellAndBadlyFormedLists) {
  const std::pair<std::string_view, std::wstring> rows[] = {
      {"\r\n\r\n", L""},
      {" a.dll , x,y ,\r\nb,\r\n,x\r\n", L"[ a.dll | x,y ,][b|][|x]"},
      // A line that isn't ended counts as an empty one.
      {"a.dll\r\nb.dll", L"[a.dll|][|]"},
      {"a.dll\nb.dll\r\r\n\n\r\n", L"[a.dll\nb.dll\r|][\n|]"},
  };
  for (const auto& [text, lines] : rows) {
    std::wstring parsed;
    for (const PluginLine& line : parse_plugin_list(text)) {
      parsed += L'[' + line.file + L'|' + line.parameters + L']';
    }
    EXPECT_EQ(lines, parsed) << text;
  }
}

// Two plug-ins, "a" and "b", of one library.
class VelPluginsCtlTest : public testing::Test,
                          public OwnerCallback,
                          public test::IPluginDoor {
 protected:
  VelPluginsCtlTest() {
    test::open_door<IPluginDoor>(this);
    test::copy_library(L"FakePlugin.dll", _directory.File(L"p.dll"));
  }
  // Gives the events until then.
  EventList load(const char* list = "p.dll,a\r\np.dll,b\r\n") {
    _directory.Write(L"plugins.txt", list);
    _ctl.load_plugins(&_host);
    return _events.take();
  }
  IVelPlugin* get_plugin(IVelPluginHost* host, const wchar_t* name) override {
    if (*name == L'\0') return nullptr;
    test::Probe& plugin = *name == L'a' ? _a : _b;
    plugin.host = host;
    plugin.note(FormatWide(L"made %s", name));
    return &plugin;
  }
  long can_unload_now() override { return _refused_unloads-- > 0; }
  void on_settings_changed() override { _events.add(L"settings changed"); }

  test::ScratchDirectory _directory;
  test::Events _events;
  test::Probe _a{_events, L"a"}, _b{_events, L"b"}, _host{_events, L"host"};
  int _refused_unloads = 0;
  VelPluginsCtl _ctl{this, _directory.path()};
};

TEST_F(VelPluginsCtlTest, LoadsInListOrderAndLeavesOutWhatFails) {
  _directory.Write(L"text.dll", "not a library");
  test::copy_library(L"FakePlugin.dll", _directory.File(L"refuses.dll"));
  test::copy_library(L"FakeSessionLibrary.dll", _directory.File(L"other.dll"));
  const test::LogCapture log;
  EXPECT_EQ(
      (EventList{L"b: made b%VELTEST_NONE%", L"a: made a,Windows_NT"}),
      load("missing.dll,x\r\ntext.dll\r\nother.dll\r\np.dll,b%VELTEST_NONE%\r\n"
           "refuses.dll\r\np.dll,a,%OS%\r\np.dll,b"));
  EXPECT_EQ(nullptr, GetModuleHandleW(L"refuses.dll"));
  for (const wchar_t* failure :
       {L"missing.dll' failed: 'Cannot load plugin dll'",
        L"text.dll' failed: 'Cannot load plugin dll'",
        L"other.dll' failed: 'Invalid plugin dll'",
        L"refuses.dll' failed: 'Failed to initialize plugin'",
        L"dll module '' failed: 'Cannot load plugin dll'"}) {
    EXPECT_TRUE(log.Contains(2, failure)) << failure;
  }
}

// A library can end the process while it is loaded.
TEST_F(VelPluginsCtlTest, TheLogIsInItsFileAroundTheLoad) {
  const test::LogCapture log;
  bool before = false;
  _a.on_event = [&](const std::wstring&) {
    before = log.Contains(log.LinesOnDisk(), 4, L"earlier");
  };
  VelLog_Print(kLogNotice, L"earlier");
  load("p.dll,a\r\n");
  EXPECT_TRUE(before);
  EXPECT_TRUE(log.Contains(log.LinesOnDisk(), 4, L"Initialization 'p.dll'"));
  _a.on_event = nullptr;
}

TEST_F(VelPluginsCtlTest, BroadcastsReachTheSenderLastUnlessOneEndsThem) {
  load();
  EXPECT_FALSE(_ctl.send_broadcast(nullptr, L"x", 1, 2));
  EXPECT_FALSE(_a.host->send_broadcast(L"ui_settings_changed", 0, 0));
  EXPECT_EQ((EventList{L"a: x 1 2", L"b: x 1 2", L"b: ui_settings_changed 0 0",
                       L"a: ui_settings_changed 0 0", L"settings changed"}),
            _events.take());
  _b.agrees = false;
  EXPECT_TRUE(_a.host->send_broadcast(L"ui_settings_changed", 0, 0));
  EXPECT_TRUE(_b.host->send_broadcast(L"x", 0, 0));
  EXPECT_EQ(
      (EventList{L"b: ui_settings_changed 0 0", L"a: x 0 0", L"b: x 0 0"}),
      _events.take());
}

// The posts of a plug-in that isn't in the list yet go to those before it.
TEST_F(VelPluginsCtlTest, PostedBroadcastsRunInOrderOnTheQueuesThread) {
  std::atomic<int> heard{0};
  _a.on_event = [&, loader = GetCurrentThreadId()](const std::wstring&) {
    heard += GetCurrentThreadId() != loader;
  };
  _b.on_event = [&](const std::wstring& event) {
    if (event != L"made") return;
    _b.host->post_broadcast(std::wstring(L"one").c_str(), 1, 0);
    _b.host->post_broadcast(std::wstring(L"two").c_str(), 2, 0);
    EXPECT_TRUE(test::WaitUntil([&] { return heard == 2; }));
  };
  EXPECT_EQ(
      (EventList{L"a: made a", L"b: made b", L"a: one 1 0", L"a: two 2 0"}),
      load());
  _ctl.stop();
}

TEST_F(VelPluginsCtlTest, StopEndsPluginsAndBroadcastsAndTakesWhatIsLeft) {
  EXPECT_TRUE(_ctl.send_broadcast(nullptr, L"x", 0, 0));
  _ctl.post_broadcast(nullptr, L"x", 0, 0);
  load();
  _refused_unloads = 3;
  _ctl.stop();
  EXPECT_TRUE(_ctl.send_broadcast(nullptr, L"x", 0, 0));
  EXPECT_FALSE(_ctl.on_broadcast(nullptr, L"ui_settings_changed", 0, 0));
  EXPECT_EQ((EventList{L"a: destroy", L"host: hint", L"host: icon",
                       L"b: destroy", L"host: hint", L"host: icon"}),
            _events.take());
  EXPECT_EQ(nullptr, GetModuleHandleW(L"p.dll"));
}

// A window of the thread that stops: an event may wait for it.
HWND make_window() {
  return CreateWindowW(L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                       nullptr, nullptr);
}

TEST_F(VelPluginsCtlTest, StopWaitsForEventsAndDestroysOnItsOwnThread) {
  load();
  const HWND window = make_window();
  std::atomic<bool> inside{false}, left{false};
  const DWORD stopper = GetCurrentThreadId();
  _a.on_event = [&](const std::wstring& event) {
    EXPECT_TRUE(event != L"destroy" ||
                (left && stopper == GetCurrentThreadId()));
  };
  _b.on_event = [&](const std::wstring& event) {
    _a.on_event(event);
    if (event != L"x") return;
    inside = true;
    Sleep(300);
    SendMessageW(window, WM_NULL, 0, 0);
  };
  // The sender counts, too: its thread comes back to its code.
  std::thread sender([&] {
    EXPECT_FALSE(_a.host->send_broadcast(L"x", 0, 0));
    left = true;
  });
  EXPECT_TRUE(test::WaitUntil([&] { return inside.load(); }));
  EXPECT_TRUE(_ctl.stop());
  sender.join();
  EXPECT_EQ((EventList{L"b: x 0 0", L"a: destroy", L"host: hint", L"host: icon",
                       L"b: destroy", L"host: hint", L"host: icon"}),
            _events.take());
  DestroyWindow(window);
}

struct CollectingMenu : public IVelTrayMenu {
  void add_menu_item(std::uint32_t, std::uint32_t, std::uint32_t,
                     const wchar_t*, IVelMenuItemHandler* handler,
                     bool) override {
    handlers.push_back(handler);
  }
  std::vector<IVelMenuItemHandler*> handlers;
};

struct SlowHandler : public IVelMenuItemHandler {
  void on_menu_event(std::uint32_t, std::uint32_t, std::uintptr_t) override {
    ++begun;
    Sleep(500);
    ++ended;
  }
  std::atomic<int> begun{0}, ended{0};
};

TEST_F(VelPluginsCtlTest, AMenuEventCountsAndNoneBeginsAfterTheStop) {
  load();
  CollectingMenu menu;
  SlowHandler handler;
  _a.on_item = &handler;
  _ctl.on_tray_menu_popup(&menu);
  std::jthread chosen([&] { menu.handlers[0]->on_menu_event(5, 7, 0); });
  EXPECT_TRUE(test::WaitUntil([&] { return handler.begun == 1; }));
  _ctl.stop();
  EXPECT_EQ(1, handler.ended);
  menu.handlers[0]->on_menu_event(5, 7, 0);
  EXPECT_EQ(1, handler.begun);
}

TEST_F(VelPluginsCtlTest, StopGivesUpAPluginWhoseEventDoesNotEnd) {
  load();
  const test::LogCapture log;
  std::atomic<bool> inside{false}, let_go{false};
  _a.on_event = [&](const std::wstring& event) {
    if (event != L"popup") return;
    inside = true;
    EXPECT_TRUE(test::WaitUntil([&] { return let_go.load(); }));
  };
  std::thread popup([&] { _ctl.on_tray_menu_popup(nullptr); });
  EXPECT_TRUE(test::WaitUntil([&] { return inside.load(); }));
  const ULONGLONG start = GetTickCount64();
  EXPECT_FALSE(_ctl.stop());
  EXPECT_GE(GetTickCount64() - start, 9900u);
  EXPECT_TRUE(log.Contains(3, L"p.dll"));
  let_go = true;
  popup.join();
  // Neither the one given up nor an event for those that have gone.
  EXPECT_EQ(
      (EventList{L"a: popup", L"b: destroy", L"host: hint", L"host: icon"}),
      _events.take());
  EXPECT_TRUE(FreeLibrary(GetModuleHandleW(L"p.dll")));
}

// From every event a plug-in may go to the host, and come back through it.
TEST_F(VelPluginsCtlTest, PluginsMayCallBackFromTheirEvents) {
  load();
  _host.on_event = [&](const std::wstring& event) {
    if (event == L"close") _ctl.query_session_shutdown(nullptr, 0);
  };
  int called_back = 0;
  _b.on_event = [&](const std::wstring& event) {
    if (event == L"echo" || event == L"query") return;
    _b.host->send_broadcast(L"echo", 0, 0);
    _b.host->post_broadcast(L"echo", 0, 0);
    _b.host->close_session(L"Normal", 0);
    ++called_back;
  };
  _ctl.on_tray_menu_popup(nullptr);
  _ctl.on_session_startup(nullptr, L"Normal");
  _ctl.on_session_shutdown(nullptr);
  _ctl.send_broadcast(nullptr, L"x", 0, 0);
  // A plug-in lives until its event has ended.
  bool destroyed = false;
  _a.on_event = [&](const std::wstring& event) {
    destroyed = event == L"destroy";
    if (event == L"popup") _ctl.stop();
    EXPECT_TRUE(event != L"popup" || !destroyed);
  };
  _ctl.on_tray_menu_popup(nullptr);
  EXPECT_EQ(6, called_back);
  EXPECT_TRUE(destroyed);
}

}  // namespace
}  // namespace vel
