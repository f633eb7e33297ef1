#include "sessions/RestartTask.h"

#include "sync/CurrentThread.h"

namespace vel {

RestartTask::RestartTask(IVelAsyncRestart* target) : _target(target) {}

RestartTask::~RestartTask() {
  finish();
}

void RestartTask::finish() {
  if (!ThreadIsTerminating()) wait();
}

bool RestartTask::notify(std::uint32_t status) {
  _status = status;
  if (_pending.fetch_add(1) != 0 || start()) return true;
  _pending = 0;
  return false;
}

void RestartTask::run() {
  do {
    cover_notices();
    _target->async_mgr_restart(_status);
  } while (_pending.fetch_sub(_covered) != _covered);
}

}  // namespace vel
