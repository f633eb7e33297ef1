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

// Restarts a session in the background, again and again until every notice of
// an end is dealt with: one that comes while the task does its last step, or
// ends, isn't lost.
//
// `_pending` is the hand-over. The notice that raises it from 0 starts the
// task; the task ends when it has lowered it to 0.
class RestartTask : public VelTask {
 public:
  // `target` isn't owned and outlives the task.
  explicit RestartTask(IVelAsyncRestart* target);
  // Calls finish().
  ~RestartTask() override;

  // Waits for a run that is under way, except on the last thread of an ending
  // process.
  void finish();

  // The session has ended with `status`. A task that runs already has read its
  // status by then, and restarts once more only when this notice isn't covered.
  // One thread at a time. False, with the last error set, when the pool doesn't
  // take the task; the notice is dropped then.
  bool notify(std::uint32_t status);

  // For the target, on the task's thread: what it does next deals with all the
  // notices up to now.
  void cover_notices() { _covered = _pending; }

 protected:
  void run() override;

 private:
  IVelAsyncRestart* const _target;
  std::atomic<std::uint32_t> _status{0};
  // The notices that no run has dealt with.
  std::atomic<std::uint32_t> _pending{0};
  // Only on the task's thread.
  std::uint32_t _covered = 0;
};

}  // namespace vel

#endif  // VEL_SESSIONS_RESTARTTASK_H_
