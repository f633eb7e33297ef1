#ifndef VEL_SESSIONS_RESTARTTASK_H_
#define VEL_SESSIONS_RESTARTTASK_H_

#include <atomic>
#include <cstdint>

#include "sync/VelTask.h"

namespace vel {

// What a RestartTask calls.
class IVelAsyncRestart {
 public:
  // Brings back a session that has ended with `status`. On a pool thread.
  virtual void async_mgr_restart(std::uint32_t status) = 0;

 protected:
  ~IVelAsyncRestart() = default;
};

// Restarts a session in the background.
class RestartTask : public VelTask {
 public:
  // `target` isn't owned and outlives the task.
  explicit RestartTask(IVelAsyncRestart* target);
  // Calls finish().
  ~RestartTask() override;

  // Waits for a run that is under way, except on the last thread of an ending
  // process.
  void finish();

  // The status for the next run. While the task runs it has its status already.
  void set_status(std::uint32_t status) { _status = status; }

 protected:
  void run() override;

 private:
  IVelAsyncRestart* const _target;
  std::atomic<std::uint32_t> _status{0};
};

}  // namespace vel

#endif  // VEL_SESSIONS_RESTARTTASK_H_
