#ifndef VEL_TESTS_SESSIONS_SESSIONRIG_H_
#define VEL_TESTS_SESSIONS_SESSIONRIG_H_

#include <atomic>
#include <list>
#include <string>

#include "Rig.h"
#include "fakes/Doors.h"
#include "sessions/IVelSessionHost.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

// A session manager whose state the test decides.
class FakeSession : public IVelSession {
 public:
  explicit FakeSession(Events& events) : _events(events) {}

  // Ends by itself, as a dying manager does.
  void die(std::uint32_t status) {
    state = VEL_SESSION_STOPPED;
    callback.load()->MgrShutdown(status);
  }

  std::atomic<std::uint32_t> state{VEL_SESSION_STOPPED};
  std::atomic<IVelSessionCallback*> callback{nullptr};
  std::atomic<int> starts{0};
  std::atomic<DWORD> started_at{0};
  // Whether shutdown() is enough to stop it.
  bool stops_at_once = true;

  void start(const VelSessionStart* parameters) override;
  void shutdown() override;
  std::uint32_t start_app(const wchar_t* verb, const wchar_t* file,
                          const wchar_t* parameters, const wchar_t* directory,
                          const wchar_t* class_name) override;
  std::uint32_t get_state() override { return state; }
  void add_callback(IVelSessionCallback* added) override;
  void remove_callback(IVelSessionCallback* removed) override;
  void release() override { _events.add(L"release"); }
  void reserved_3() override {}
  void reserved_5() override {}
  void reserved_6() override {}
  void reserved_7() override {}
  void reserved_9() override {}

 private:
  Events& _events;
};

// A product folder of the test's own, with both builds of the session library,
// and the host of its holders.
class SessionRig : public ISessionDoor, public IVelSessionHost {
 public:
  SessionRig();

  // The manager that was made last.
  FakeSession& session() { return sessions.back(); }

  IVelSession* create_session(const wchar_t* path) override;

  void on_session_startup(IVelSession* session, const wchar_t* config) override;
  void on_session_shutdown(IVelSession* session) override;
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t shutdown_type) override;
  std::uint32_t need_session(const wchar_t*) override { return 0; }
  std::uint32_t close_session(const wchar_t*, std::uint32_t) override {
    return 0;
  }
  std::uint32_t shutdown(std::uint32_t) override { return 0; }
  void set_notify_hint(std::uint32_t, const wchar_t*) override {}
  void set_notify_icon(std::uint32_t, HICON) override {}

  ScratchDirectory directory;
  Events events;
  std::list<FakeSession> sessions;
  bool plugins_agree = true;
  std::uint32_t first_state = VEL_SESSION_STOPPED;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SESSIONS_SESSIONRIG_H_
