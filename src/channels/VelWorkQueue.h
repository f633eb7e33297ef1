#ifndef VEL_CHANNELS_VELWORKQUEUE_H_
#define VEL_CHANNELS_VELWORKQUEUE_H_

#include <windows.h>

#include <atomic>
#include <cstdint>
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
//
// A post makes a system call only when the consumer waits for it.
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

 protected:
  // Pop, which also sets `ended` when it gives null, before any later post: a
  // thread that posts and then finds `ended` clear knows that its item will be
  // popped.
  [[nodiscard]] IVelWorkItem* Pop(std::atomic<bool>& ended);

 private:
  using ItemList = std::list<IVelWorkItem*>;

  // Moves the first item's node out of the list.
  IVelWorkItem* take_first(ItemList& node, std::atomic<bool>& ended)
      VEL_REQUIRES(_lock);

  ScopedHandle _semaphore;
  ItemList _items VEL_GUARDED_BY(_lock);
  VelSpinLock _lock;
  // Posts that no Pop has answered; below 0 when the consumer waits, for which
  // the semaphore is there.
  std::int32_t _posts VEL_GUARDED_BY(_lock) = 0;
};

}  // namespace vel

#endif  // VEL_CHANNELS_VELWORKQUEUE_H_
