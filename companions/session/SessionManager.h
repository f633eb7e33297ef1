// The session manager behind IVelSession.
#ifndef VEL_COMPANIONS_SESSION_SESSIONMANAGER_H_
#define VEL_COMPANIONS_SESSION_SESSIONMANAGER_H_

#include <memory>

#include "common/SrwLock.h"
#include "common/UniqueHandle.h"
#include "session/CallbackList.h"
#include "session/SessionJob.h"
#include "vel/IVelSession.h"

namespace velul {

// A session runs from a successful start until its anchor ends. One thread,
// made by the first start and joined by release, watches the anchor, ends the
// session in order and makes the calls to the callbacks.
//
//   stopped --start--> running --shutdown--> running, _ending --> stopped
//   running --anchor ends with 0 or 1--> stopped, MgrShutdown
//   running --anchor ends otherwise--> broken, MgrShutdown
//   broken --shutdown--> stopped
class SessionManager final : public IVelSession {
 public:
  SessionManager() = default;

  void start(const VelSessionStart* parameters) override;
  void shutdown() override;
  void reserved_3() override {}
  std::uint32_t start_app(const wchar_t* verb, const wchar_t* file,
                          const wchar_t* parameters, const wchar_t* directory,
                          const wchar_t* class_name) override;
  void reserved_5() override {}
  void reserved_6() override {}
  void reserved_7() override {}
  std::uint32_t get_state() override;
  void reserved_9() override {}
  void add_callback(IVelSessionCallback* callback) override;
  void remove_callback(IVelSessionCallback* callback) override;
  void release() override;

 private:
  struct Run {
    std::shared_ptr<SessionJob> job;
    companion::UniqueHandle anchor;
  };
  using RunPtr = std::shared_ptr<Run>;

  ~SessionManager() = default;

  bool wait_until_startable();
  RunPtr make_run(const wchar_t* config);
  bool ensure_watcher();

  // On the watcher.
  static DWORD WINAPI watcher_entry(void* self);
  void watch();
  void end_in_order(const Run& run);
  void on_anchor_end(const Run& run);
  bool is_released();
  void set_ended(VelSessionState state);

  CallbackList _callbacks;
  // One start at a time; outside _lock.
  companion::SrwLock _start_lock;
  // Written under _start_lock, before the watcher runs.
  companion::UniqueHandle _wake;
  companion::UniqueHandle _watcher;

  companion::SrwLock _lock;
  CONDITION_VARIABLE _ended = CONDITION_VARIABLE_INIT;
  // Guarded by _lock.
  VelSessionState _state = VEL_SESSION_STOPPED;
  bool _ending = false;
  bool _released = false;
  RunPtr _run;  // set while running
};

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_SESSIONMANAGER_H_
