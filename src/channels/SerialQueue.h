#ifndef VEL_CHANNELS_SERIALQUEUE_H_
#define VEL_CHANNELS_SERIALQUEUE_H_

#include <atomic>

#include "channels/VelWorkQueue.h"
#include "sync/VelSpinLock.h"
#include "sync/VelTask.h"

namespace vel {

// A queue whose items run one after another, in the order of the posts, on one
// pool thread. The thread is taken at the first post and kept until Stop; the
// next post takes one again.
//
// Any thread may post, items of the queue too. An item must not throw. Posts
// that go on during a Stop run before its return or on a new consumer; none is
// left behind.
class SerialQueue : public VelWorkQueue, public VelTask {
 public:
  SerialQueue() = default;
  // Calls Stop; nobody may post any more.
  ~SerialQueue() override;

  // `item` runs later, and frees itself then. Throws std::bad_alloc, with
  // nothing changed. When the pool gives no thread (logged), the item waits for
  // the next post.
  void Post(IVelWorkItem* item);
  // Runs out what was posted before and gives the thread back; returns at once
  // when there is none. Not for the queue's own items.
  void Stop();

 protected:
  void run() override;

 private:
  // No consumer was started, or it has taken the null that ends it: the next
  // post starts one.
  std::atomic<bool> _ended{true};
  // Held by the one that starts or stops the consumer. Outside the lock of the
  // list.
  VelSpinLock _start_lock;
};

}  // namespace vel

#endif  // VEL_CHANNELS_SERIALQUEUE_H_
