#include "sessions/VelPluginsCtl.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "PluginRig.h"
#include "foundation/Environment.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

using test::EventList;
using test::ProbePlugin;

class VelPluginsCtlTest : public testing::Test, public OwnerCallback {
 protected:
  void SetUp() override { _ctl.emplace(this, _rig.directory.path()); }
  void on_settings_changed() override { _rig.events.add(L"settings changed"); }

  // Loads `a.dll`, `b.dll` and `c.dll`.
  void load_three() {
    _a = &_rig.add(L"a.dll");
    _b = &_rig.add(L"b.dll");
    _c = &_rig.add(L"c.dll");
    _rig.write_list("a.dll\r\nb.dll\r\nc.dll\r\n");
    _ctl->load_plugins(&_rig);
    _rig.events.take();
  }
  EventList events() { return _rig.events.take(); }

  test::PluginRig _rig;
  std::optional<VelPluginsCtl> _ctl;
  ProbePlugin* _a = nullptr;
  ProbePlugin* _b = nullptr;
  ProbePlugin* _c = nullptr;
};

TEST_F(VelPluginsCtlTest, LoadsInListOrderWithExpandedParameters) {
  set_env(L"VELTEST_VALUE", L"v", true);
  for (const wchar_t* name : {L"a.dll", L"b.dll", L"c.dll"}) _rig.add(name);
  _rig.write_list(
      "b.dll,%VELTEST_VALUE%\\x\r\na.dll,\r\nc.dll,%VELTEST_NONE%\r\n");
  _ctl->load_plugins(&_rig);
  EXPECT_EQ((EventList{L"b.dll: made 'v\\x'", L"a.dll: made ''",
                       L"c.dll: made '%VELTEST_NONE%'"}),
            events());
}

TEST_F(VelPluginsCtlTest, LeavesOutWhatFails) {
  _rig.add(L"good.dll");
  _rig.add(L"refuses.dll");
  _rig.refusing.insert(L"refuses.dll");
  _rig.directory.Write(L"text.dll", "not a library");
  test::copy_library(L"FakeSessionLibrary.dll",
                     _rig.directory.File(L"noexport.dll"));
  _rig.write_list(
      "missing.dll,x\r\ntext.dll\r\nnoexport.dll\r\nrefuses.dll\r\n"
      "good.dll\r\nunfinished.dll");
  test::LogCapture log;
  _ctl->load_plugins(&_rig);
  EXPECT_EQ((EventList{L"refuses.dll: made ''", L"refuses.dll: unloaded",
                       L"good.dll: made ''"}),
            events());
  const struct {
    const wchar_t* file;
    const wchar_t* reason;
  } failures[] = {{L"missing.dll", L"Cannot load plugin dll"},
                  {L"text.dll", L"Cannot load plugin dll"},
                  {L"noexport.dll", L"Invalid plugin dll"},
                  {L"refuses.dll", L"Failed to initialize plugin"},
                  {L"", L"Cannot load plugin dll"}};
  for (const auto& failure : failures) {
    EXPECT_TRUE(log.Contains(
        2, std::wstring(L"VelPluginsCtl::load_plugins: dll module '") +
               failure.file + L"' failed: '" + failure.reason + L"'"))
        << failure.file;
  }
  EXPECT_TRUE(log.Contains(4, L"Initialization 'good.dll' - "));
}

TEST_F(VelPluginsCtlTest, WorksWithoutAList) {
  _ctl->load_plugins(&_rig);
  EXPECT_TRUE(_ctl->query_session_shutdown(nullptr, 0));
  EXPECT_FALSE(_ctl->send_broadcast(nullptr, L"x", 0, 0));
}

TEST_F(VelPluginsCtlTest, BroadcastsReachTheSenderLast) {
  load_three();
  EXPECT_FALSE(_ctl->send_broadcast(nullptr, L"x", 1, 2));
  EXPECT_EQ((EventList{L"a.dll: x 1 2", L"b.dll: x 1 2", L"c.dll: x 1 2"}),
            events());
  EXPECT_FALSE(_a->host->send_broadcast(L"ui_settings_changed", 0, 0));
  EXPECT_EQ((EventList{L"b.dll: ui_settings_changed 0 0",
                       L"c.dll: ui_settings_changed 0 0",
                       L"a.dll: ui_settings_changed 0 0", L"settings changed"}),
            events());
}

TEST_F(VelPluginsCtlTest, ABroadcastGoesNoFurtherThanThePluginThatEndsIt) {
  load_three();
  test::LogCapture log;
  _b->ends_broadcasts = true;
  EXPECT_TRUE(_a->host->send_broadcast(L"ui_settings_changed", 0, 0));
  EXPECT_EQ((EventList{L"b.dll: ui_settings_changed 0 0"}), events());
  EXPECT_TRUE(log.Contains(1, L"b.dll' stopped broadcast message"));
  // Its own broadcast it gets last, and ends it there.
  EXPECT_TRUE(_b->host->send_broadcast(L"x", 0, 0));
  EXPECT_EQ((EventList{L"a.dll: x 0 0", L"c.dll: x 0 0", L"b.dll: x 0 0"}),
            events());
}

TEST_F(VelPluginsCtlTest, PostedBroadcastsRunInOrderOnTheQueuesThread) {
  load_three();
  std::atomic<DWORD> thread{0};
  _c->on_event = [&](const std::wstring&) { thread = GetCurrentThreadId(); };
  std::wstring name = L"one";
  _b->host->post_broadcast(name.c_str(), 1, 0);
  name = L"two";
  _ctl->post_broadcast(nullptr, name.c_str(), 2, 0);
  EventList all;
  EXPECT_TRUE(test::comes_true([&] {
    for (std::wstring& event : events()) all.push_back(std::move(event));
    return all.size() == 6;
  }));
  EXPECT_EQ(
      (EventList{L"a.dll: one 1 0", L"c.dll: one 1 0", L"b.dll: one 1 0",
                 L"a.dll: two 2 0", L"b.dll: two 2 0", L"c.dll: two 2 0"}),
      all);
  EXPECT_NE(GetCurrentThreadId(), thread);
}

TEST_F(VelPluginsCtlTest, APluginDoesNotGetWhatItPostsWhileItIsMade) {
  _rig.add(L"a.dll");
  _rig.write_list("a.dll\r\n");
  _rig.on_load = [](IVelPluginHost* host) {
    EXPECT_FALSE(host->send_broadcast(L"early", 0, 0));
  };
  _ctl->load_plugins(&_rig);
  EXPECT_EQ((EventList{L"a.dll: made ''"}), events());
}

TEST_F(VelPluginsCtlTest, RefusesBroadcastsBeforeLoadAndAfterStop) {
  EXPECT_TRUE(_ctl->send_broadcast(nullptr, L"x", 0, 0));
  _ctl->post_broadcast(nullptr, L"x", 0, 0);
  load_three();
  _ctl->stop();
  events();
  EXPECT_TRUE(_ctl->send_broadcast(nullptr, L"x", 0, 0));
  EXPECT_FALSE(_ctl->on_broadcast(nullptr, L"ui_settings_changed", 0, 0));
  _ctl->post_broadcast(nullptr, L"ui_settings_changed", 0, 0);
  _ctl.reset();
  EXPECT_EQ(EventList{}, events());
}

TEST_F(VelPluginsCtlTest, AsksEveryPluginWhetherASessionMayEnd) {
  load_three();
  EXPECT_TRUE(_ctl->query_session_shutdown(nullptr, 2));
  EXPECT_EQ(
      (EventList{L"a.dll: query 2", L"b.dll: query 2", L"c.dll: query 2"}),
      events());
  _a->agrees = _b->agrees = false;
  test::LogCapture log;
  EXPECT_FALSE(_ctl->query_session_shutdown(nullptr, 0));
  EXPECT_EQ(3u, events().size());
  EXPECT_TRUE(log.Contains(2, L"a.dll' rejected session shutdown"));
  EXPECT_TRUE(log.Contains(2, L"b.dll' rejected session shutdown"));
  EXPECT_FALSE(log.Contains(2, L"c.dll' rejected session shutdown"));
}

TEST_F(VelPluginsCtlTest, TellsWhichPluginHoldsASessionsStartBack) {
  load_three();
  _b->on_event = [](const std::wstring&) { Sleep(120); };
  test::LogCapture log;
  _ctl->on_session_startup(nullptr, L"Normal");
  EXPECT_EQ((EventList{L"a.dll: startup Normal", L"b.dll: startup Normal",
                       L"c.dll: startup Normal"}),
            events());
  EXPECT_TRUE(log.Contains(2, L"\\b.dll'"));
  EXPECT_TRUE(log.Contains(1, L"VelPluginsCtl::on_session_startup leave"));
}

TEST_F(VelPluginsCtlTest, StopEndsThePluginsInOrderAndTakesWhatTheyLeave) {
  load_three();
  _rig.refused_unloads = 2;
  _ctl->stop();
  EventList expected;
  for (const wchar_t* library : {L"a.dll", L"b.dll", L"c.dll"}) {
    expected.push_back(library + std::wstring(L": destroy"));
    expected.push_back(library + std::wstring(L": unloaded"));
    expected.push_back(L"hint -");
    expected.push_back(L"icon -");
  }
  const EventList got = events();
  // The library that has refused is freed in the background.
  EXPECT_EQ(expected.size(), got.size());
  EXPECT_EQ(EventList(expected.begin() + 4, expected.end()),
            EventList(got.begin() + 4, got.end()));
}

TEST_F(VelPluginsCtlTest, PassesTheHostsOperationsOn) {
  load_three();
  EXPECT_EQ(VEL_STATUS_SESSION_ACTIVE, _a->host->need_session(L"Normal"));
  EXPECT_EQ(VEL_STATUS_REFUSED, _a->host->close_session(nullptr, 1));
  EXPECT_EQ(VEL_STATUS_SHUTTING_DOWN, _a->host->shutdown(3));
  _a->host->set_notify_hint(L"line");
  _a->host->set_notify_icon(LoadIconW(nullptr, IDI_APPLICATION));
  EXPECT_EQ((EventList{L"need_session Normal", L"close_session * 1",
                       L"shutdown 3", L"hint line", L"icon"}),
            events());
}

// From every event a plug-in may go to the host, and come back through it.
TEST_F(VelPluginsCtlTest, PluginsMayCallBackFromTheirEvents) {
  load_three();
  _rig.on_close_session = [&] { _ctl->query_session_shutdown(nullptr, 0); };
  int depth = 0;
  _b->on_event = [&](const std::wstring& event) {
    if (depth != 0) return;
    ++depth;
    _b->host->send_broadcast(L"nested", 0, 0);
    _b->host->post_broadcast(L"posted", 0, 0);
    _b->host->close_session(L"Normal", 0);
    _rig.events.add(L"back from " + event);
    --depth;
  };
  _ctl->on_tray_menu_popup(nullptr);
  _ctl->on_session_shutdown(nullptr);
  _ctl->send_broadcast(nullptr, L"x", 0, 0);
  _ctl->stop();
  int back = 0;
  for (const std::wstring& event : events()) {
    if (event.starts_with(L"back from ")) ++back;
  }
  EXPECT_GE(back, 4);
}

TEST_F(VelPluginsCtlTest, APluginLivesUntilItsEventHasEnded) {
  load_three();
  const HANDLE inside = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const HANDLE leave = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  _a->on_event = [&](const std::wstring& event) {
    if (event != L"popup") return;
    SetEvent(inside);
    WaitForSingleObject(leave, INFINITE);
    _rig.events.add(L"left");
  };
  std::thread window([&] { _ctl->on_tray_menu_popup(nullptr); });
  WaitForSingleObject(inside, INFINITE);
  _ctl->stop();
  SetEvent(leave);
  window.join();
  const EventList got = events();
  ASSERT_LT(2u, got.size());
  EXPECT_EQ((EventList{L"a.dll: popup", L"left"}),
            EventList(got.begin(), got.begin() + 2));
  EXPECT_EQ(1, std::count(got.begin(), got.end(), L"a.dll: destroy"));
  CloseHandle(inside);
  CloseHandle(leave);
}

TEST_F(VelPluginsCtlTest, PutsItsFolderIntoThePathOnce) {
  const std::wstring path = get_env(L"PATH");
  EXPECT_NE(std::wstring::npos, path.find(L";" + _rig.directory.path() + L";"));
  std::wstring upper = _rig.directory.path();
  CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
  VelPluginsCtl other(nullptr, upper);
  EXPECT_EQ(path, get_env(L"PATH"));
}

}  // namespace
}  // namespace vel
