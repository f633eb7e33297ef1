#include "channels/SerialQueue.h"

#include "log/VelLog.h"
#include "sync/VelSyncNt.h"

namespace vel {

static constexpr char kLogSource[] = ".\\SerialQueue";

SerialQueue::~SerialQueue() {
  Stop();
}

void SerialQueue::Post(IVelWorkItem* item) {
  VelWorkQueue::Post(item);
  if (!_ended) return;
  VelSpinLock::Scope scope(_start_lock);
  if (!_ended) return;
  // A consumer that is at its very end is waited for by start().
  _ended = false;
  if (start()) return;
  VEL_LOG_WIN32_CALL();
  _ended = true;
}

// The lock is kept until the consumer has gone, so that no post can start the
// next one before its end is seen here. The items that run meanwhile don't need
// the lock: a post looks for it only past the consumer's last item.
void SerialQueue::Stop() {
  if (!is_running()) return;
  VelSpinLock::Scope scope(_start_lock);
  if (!_ended) VelWorkQueue::Post(nullptr);
  static_cast<void>(WaitExclusive(done_event()));
}

void SerialQueue::run() {
  while (IVelWorkItem* item = Pop(_ended)) item->run_and_free();
}

}  // namespace vel
