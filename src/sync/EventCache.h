#ifndef VEL_SYNC_EVENTCACHE_H_
#define VEL_SYNC_EVENTCACHE_H_

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "sync/VelFastMutex.h"

namespace vel {

// The shared block: the same for every copy of this code in the process.
struct EventCacheBlock {
  static constexpr std::uint32_t kCapacity = 20;

  // 0 free, 1 held.
  std::atomic<std::uint32_t> lock;
  std::uint32_t count;
  // A stack: the last put in is the first taken out.
  HANDLE events[kCapacity];
};
static_assert(offsetof(EventCacheBlock, count) == 4);
static_assert(offsetof(EventCacheBlock, events) == 8);
static_assert(sizeof(EventCacheBlock) == 168);

// Keeps idle manual-reset events for reuse, in a named block that the program
// and the libraries in its process share. Without the block, and after close(),
// each event is made and closed. Any thread may call any operation; the last
// error isn't kept.
//
// Process end: the last thread goes through the block's lock, whoever had it.
class EventCache {
 public:
  constexpr EventCache() noexcept = default;
  EventCache(const EventCache&) = delete;
  EventCache& operator=(const EventCache&) = delete;

  // A signalled event, the caller's from now on. One that can't be made is a
  // trap.
  [[nodiscard]] HANDLE take();
  // Takes over `event`, in any state; it is closed when there is no room.
  void give_back(HANDLE event);
  // Closes the events of the block and lets go of it. For good.
  void close();

 private:
  class Use;

  // The lock of the block, false without a block: the caller goes without the
  // cache then. Only inside a Use, which keeps the block mapped.
  bool cache_lock();
  void cache_unlock();
  HANDLE pop();
  bool push(HANDLE event);
  EventCacheBlock* mapped_block();
  bool map_block(unsigned slot);
  void close_events();

  std::atomic<bool> _enabled{true};
  // How many calls may have the block in hand.
  std::atomic<std::uint32_t> _uses{0};
  std::atomic<EventCacheBlock*> _block{nullptr};
  // Guards the mapping of the block.
  VelFastMutex _map_lock;
  HANDLE _mapping = nullptr;
};

// The cache of this module, closed by its exit handlers. Objects that outlive
// those may go on using it.
EventCache& event_cache();

}  // namespace vel

#endif  // VEL_SYNC_EVENTCACHE_H_
