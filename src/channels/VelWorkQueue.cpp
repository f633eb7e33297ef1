#include "channels/VelWorkQueue.h"

#include <limits>

#include "sync/Trap.h"

namespace vel {

VelWorkQueue::VelWorkQueue()
    : _semaphore(CreateSemaphoreW(nullptr, 0, std::numeric_limits<LONG>::max(),
                                  nullptr)) {
  if (!_semaphore) vel_trap();
}

VelWorkQueue::~VelWorkQueue() = default;

void VelWorkQueue::Post(IVelWorkItem* item) {
  ItemList node;
  if (item != nullptr) node.push_back(item);
  bool consumer_waits = false;
  {
    VelSpinLock::Scope scope(_lock);
    _items.splice(_items.end(), node);
    consumer_waits = _posts++ < 0;
  }
  if (consumer_waits) ReleaseSemaphore(_semaphore.get(), 1, nullptr);
}

IVelWorkItem* VelWorkQueue::Pop() {
  std::atomic<bool> ended;
  return Pop(ended);
}

IVelWorkItem* VelWorkQueue::Pop(std::atomic<bool>& ended) {
  ItemList node;  // freed outside the lock
  {
    VelSpinLock::Scope scope(_lock);
    if (_posts-- > 0) return take_first(node, ended);
  }
  WaitForSingleObject(_semaphore.get(), INFINITE);
  VelSpinLock::Scope scope(_lock);
  return take_first(node, ended);
}

IVelWorkItem* VelWorkQueue::take_first(ItemList& node,
                                       std::atomic<bool>& ended) {
  if (_items.empty()) {
    ended = true;
    return nullptr;
  }
  node.splice(node.end(), _items, _items.begin());
  return node.front();
}

}  // namespace vel
