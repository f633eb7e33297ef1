#ifndef VEL_CHANNELS_SERIALQUEUE_H_
#define VEL_CHANNELS_SERIALQUEUE_H_

#include "channels/VelWorkQueue.h"
#include "sync/VelSpinLock.h"
#include "sync/VelTask.h"

namespace vel {

// A queue whose items run one after another, in the order of the posts, on one
// pool thread. The thread is taken at the first post and kept until Stop; the
// next post takes one again.
//
// Any thread may post, items of the queue too. No lock is held while an item
// runs. Posts that go on during Stop run either before its return or on a new
// consumer; none is left behind.
class SerialQueue : public VelWorkQueue, public VelTask {
 public:
  SerialQueue();
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
  // Makes sure that only one thread starts the consumer.
  VelSpinLock _start_lock;
};

}  // namespace vel

#endif  // VEL_CHANNELS_SERIALQUEUE_H_
