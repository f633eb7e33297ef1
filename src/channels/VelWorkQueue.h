#ifndef VEL_CHANNELS_VELWORKQUEUE_H_
#define VEL_CHANNELS_VELWORKQUEUE_H_

#include <windows.h>

#include <list>

#include "sync/ScopedHandle.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelSpinLock.h"

namespace vel {

// A piece of work in a queue.
class IVelWorkItem {
 public:
  // Does the work and ends the object.
  virtual void run_and_free() = 0;

 protected:
  ~IVelWorkItem() = default;
};

// A blocking first-in first-out queue of pointers; it owns none of them. Any
// thread may post; Pop is for one consumer at a time.
class VelWorkQueue {
 public:
  // A semaphore that can't be made is a trap.
  VelWorkQueue();
  // Items still in the queue are neither run nor freed.
  virtual ~VelWorkQueue();
  VelWorkQueue(const VelWorkQueue&) = delete;
  VelWorkQueue& operator=(const VelWorkQueue&) = delete;

  // Appends `item`; null only wakes the consumer. Throws std::bad_alloc, with
  // nothing changed.
  void Post(IVelWorkItem* item);
  // Waits without a limit for a post, and takes the first item. Null when there
  // is none: somebody has posted null.
  [[nodiscard]] IVelWorkItem* Pop();

 private:
  // One count for each post that no Pop has answered.
  ScopedHandle _semaphore;
  std::list<IVelWorkItem*> _items VEL_GUARDED_BY(_lock);
  VelSpinLock _lock;
};

}  // namespace vel

#endif  // VEL_CHANNELS_VELWORKQUEUE_H_
