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

void RestartTask::run() {
  _target->async_mgr_restart(_status);
}

}  // namespace vel
