// What stands around session holders and plug-ins in the tests: the libraries,
// the host, and a list of what has happened.
#ifndef VEL_TESTS_SESSIONS_RIG_H_
#define VEL_TESTS_SESSIONS_RIG_H_

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "fakes/Doors.h"
#include "foundation/Environment.h"
#include "foundation/ModuleFile.h"
#include "foundation/PathParts.h"
#include "foundation/Text.h"
#include "sessions/IVelSessionHost.h"
#include "support/ScratchDirectory.h"
#include "support/Wait.h"
#include "sync/VelFastMutex.h"

namespace vel::test {

using EventList = std::vector<std::wstring>;

// What has happened, in order, from any thread.
struct Events {
  void add(std::wstring event) {
    const VelFastMutex::Scope scope(_lock);
    _events.push_back(std::move(event));
  }
  // All since the last call.
  EventList take() {
    const VelFastMutex::Scope scope(_lock);
    return std::exchange(_events, {});
  }

  VelFastMutex _lock;
  EventList _events;
};

inline void copy_library(const wchar_t* fake, const std::wstring& target) {
  const std::wstring source = directory_of(module_path(nullptr)) + fake;
  EXPECT_TRUE(CopyFileW(source.c_str(), target.c_str(), FALSE));
}

// A plug-in, or the host of plug-ins and sessions. Its calls are events as
// "<name>: <call> <arguments>".
struct Probe : public IVelPlugin, public IVelSessionHost {
  Probe(Events& list, std::wstring name) : events(list), who(std::move(name)) {}

  void note(const std::wstring& event) {
    events.add(who + L": " + event);
    if (on_event) on_event(event.substr(0, event.find(L' ')));
  }
  void on_tray_menu_popup(IVelTrayMenu* menu) override {
    note(L"popup");
    if (on_item)
      menu->add_menu_item(0, VEL_MENU_ITEM_PLAIN, 7, L"", on_item, 0);
  }
  void on_session_startup(IVelSession*, const wchar_t* config) override {
    note(FormatWide(L"startup %s", config));
    if (on_startup) on_startup(config);
  }
  void on_session_shutdown(IVelSession*) override { note(L"shutdown"); }
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t type) override {
    note(FormatWide(session ? L"query %u" : L"query %u, no session", type));
    return agrees;
  }
  bool on_broadcast(IVelPlugin*, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override {
    note(FormatWide(L"%s %Iu %Iu", name, a, b));
    return !agrees;
  }
  void destroy() override { note(L"destroy"); }
  std::uint32_t need_session(const wchar_t*) override { return 0; }
  std::uint32_t close_session(const wchar_t*, std::uint32_t) override {
    note(L"close");
    return 0;
  }
  std::uint32_t shutdown(std::uint32_t) override { return 0; }
  void set_notify_hint(std::uint32_t, const wchar_t*) override {
    note(L"hint");
  }
  void set_notify_icon(std::uint32_t, HICON) override { note(L"icon"); }

  Events& events;
  const std::wstring who;
  // Called in each event, with its first word.
  std::function<void(const std::wstring&)> on_event;
  std::function<void(const std::wstring&)> on_startup;
  // False refuses what is asked and ends broadcasts.
  bool agrees = true;
  IVelPluginHost* host = nullptr;          // the plug-in's
  IVelMenuItemHandler* on_item = nullptr;  // adds an item when there is one
};

// A session manager that is slow to stop and tells of it.
struct FakeSession : public IVelSession {
  explicit FakeSession(Events& list) : events(list) {}

  void die(std::uint32_t status) {
    state = VEL_SESSION_STOPPED;
    callback.load()->MgrShutdown(status);
  }
  void start(const VelSessionStart* with) override {
    events.add(FormatWide(L"start %s", with->config ? with->config : L"-"));
    started_at = GetTickCount();
    state = VEL_SESSION_RUNNING;
    ++starts;
    if (on_start) on_start();
  }
  void shutdown() override {
    events.add(L"shutdown");
    if (state != VEL_SESSION_RUNNING) return;
    stopping = true;
    callback.load()->MgrShutdown(0);
  }
  std::uint32_t start_app(const wchar_t* a, const wchar_t* b, const wchar_t* c,
                          const wchar_t* d, const wchar_t* e) override {
    events.add(FormatWide(L"start_app %s|%s|%s|%s|%s", a, b, c, d, e));
    return 7;
  }
  std::uint32_t get_state() override {
    return stopping.exchange(false) ? state.exchange(VEL_SESSION_STOPPED)
                                    : state.load();
  }
  void add_callback(IVelSessionCallback* added) override { callback = added; }
  void remove_callback(IVelSessionCallback*) override { callback = nullptr; }
  void release() override { events.add(callback ? L"in use" : L"release"); }
  void reserved_3() override {}
  void reserved_5() override {}
  void reserved_6() override {}
  void reserved_7() override {}
  void reserved_9() override {}

  Events& events;
  std::atomic<std::uint32_t> state{VEL_SESSION_STOPPED};
  std::atomic<bool> stopping{false};
  std::atomic<IVelSessionCallback*> callback{nullptr};
  std::atomic<int> starts{0};
  std::atomic<DWORD> started_at{0};
  // Called at the end of each start, with the holder's lock held.
  std::function<void()> on_start;
};

struct SessionRig : public ISessionDoor {
  SessionRig() {
    open_door<ISessionDoor>(this);
    set_env(L"VELDIR", directory.path(), true);
    copy_library(L"FakeSessionLibrary.dll", directory.File(L"VELUL.dll"));
  }
  IVelSession* create_session() override {
    events.add(L"create");
    return &sessions.emplace_back(events);
  }

  ScratchDirectory directory;
  Events events;
  std::deque<FakeSession> sessions;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SESSIONS_RIG_H_
