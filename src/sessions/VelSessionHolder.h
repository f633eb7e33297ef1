#ifndef VEL_SESSIONS_VELSESSIONHOLDER_H_
#define VEL_SESSIONS_VELSESSIONHOLDER_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "sessions/IVelSessionHost.h"
#include "sessions/ModuleRef.h"
#include "sessions/RestartTask.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"
#include "vel/IVelSession.h"

namespace vel {

// The tray's handle on the session of one configuration: it loads the session
// library, makes the session manager, tells the plug-ins about it, hands it
// applications, and brings it back when it dies. The holder lives as long as
// the tray, its manager only while a session is wanted.
//
//   state      | manager         | left by
//   idle       | none            | make_active, start_app: running
//   running    | runs            | close_session: stopping; its end: restarting
//   stopping   | runs until it   | idle
//              | has stopped     |
//   restarting | stopped, broken | the restart task, start_app: running;
//              |                 | close_session: idle
//
// Any thread may call any operation but the destructor. The session's lock is
// held across the calls into the library and the host, so none of these may
// come back to the same holder. Without the library, its export or a
// manager from it there is no way on: a trap.
class VelSessionHolder : public IVelSessionCallback, public IVelAsyncRestart {
 public:
  // Only stores. `host` and `shutting_down` aren't owned, outlive the holder
  // and may be null. While `*shutting_down` is true nothing is started: a call
  // that has waited for a close looks at it behind the lock.
  VelSessionHolder(IVelSessionHost* host, std::wstring config,
                   const std::atomic<bool>* shutting_down = nullptr);
  // Ends a restart that waits, and stops the session. Waits for both.
  ~VelSessionHolder() override;
  VelSessionHolder(const VelSessionHolder&) = delete;
  VelSessionHolder& operator=(const VelSessionHolder&) = delete;

  // Starts the session unless it runs. VEL_STATUS_OK, or
  // VEL_STATUS_SHUTTING_DOWN.
  std::uint32_t make_active();
  // True while the session runs or is being stopped.
  [[nodiscard]] bool is_active();
  // Asks the plug-ins and stops the session, for which it waits without a
  // limit. False when a plug-in has refused; the session runs on then.
  bool close_session(std::uint32_t shutdown_type);
  // Starts an application in the session, and the session before if need be.
  // Any text may be empty. Gives the manager's result, a system error code,
  // or VEL_STATUS_SHUTTING_DOWN.
  std::uint32_t start_app(const std::wstring& verb, const std::wstring& file,
                          const std::wstring& parameters,
                          const std::wstring& directory,
                          const std::wstring& class_name);

  // IVelSessionCallback. The manager has ended by itself: the restart begins in
  // the background.
  void MgrShutdown(std::uint32_t status) override;
  void reserved_1() override {}
  void reserved_3() override {}
  void reserved_4() override {}
  bool reserved_5() override { return false; }
  std::uintptr_t reserved_6() override { return 0; }
  std::uintptr_t reserved_7() override { return 0; }

  // IVelAsyncRestart. Starts the session anew, after a delay that `status`
  // decides, and not while `session_ending` is set; gives up when the session
  // is closed meanwhile, also by a close that it had to wait for.
  void async_mgr_restart(std::uint32_t status) override;

 private:
  [[nodiscard]] bool is_shutting_down() const;
  void ensure_session_active() VEL_REQUIRES(_session_lock);
  void create_session() VEL_REQUIRES(_session_lock);
  void stop_session() VEL_REQUIRES(_session_lock);
  // Stops and releases the manager. The caller holds _session_lock, or is the
  // destructor.
  void end_session();
  void wait_for_manager_end();
  std::shared_ptr<RestartTask> restart_task();
  // False when somebody has closed the session meanwhile.
  bool wait_for_restart(std::uint32_t status);

  // Constant after construction.
  IVelSessionHost* const _host;
  // Null when there is no session. Written under _session_lock; the restart
  // task waits on it and _in_stopping without, and looks again under the lock
  // before it starts anything.
  std::atomic<IVelSession*> _session{nullptr};
  const std::wstring _config;
  // True while the session is being stopped, and from the destructor's start.
  std::atomic<bool> _in_stopping{false};
  // Stays loaded after the session's end.
  ModuleRef _module VEL_GUARDED_BY(_session_lock);
  // Made at the first MgrShutdown.
  std::shared_ptr<RestartTask> _restart_task VEL_GUARDED_BY(_restart_lock);
  VelFastMutex _restart_lock;
  VelFastMutex _session_lock;
  // Constant after construction.
  const std::atomic<bool>* const _shutting_down;
};

}  // namespace vel

#endif  // VEL_SESSIONS_VELSESSIONHOLDER_H_
