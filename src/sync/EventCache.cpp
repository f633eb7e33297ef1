#include "sync/EventCache.h"

#include <algorithm>
#include <cstdlib>

#include "sync/CurrentThread.h"
#include "sync/NtApi.h"
#include "sync/OnceGuard.h"
#include "sync/Trap.h"

namespace vel {

namespace {

// Further names are there for the case that something else has the first.
constexpr unsigned kNameSlots = 15;
constexpr std::uint32_t kFree = 0;
constexpr std::uint32_t kHeld = 1;
constexpr unsigned kPassesBeforeSleep = 4096;

HANDLE create_event() {
  HANDLE event = nullptr;
  const NTSTATUS status = nt::ZwCreateEvent(&event, EVENT_ALL_ACCESS, nullptr,
                                            nt::EventType::kNotification, TRUE);
  if (!nt::succeeded(status)) vel_trap();
  return event;
}

// close() has to find the cache usable for objects that go after it, so no
// destructor runs.
union CacheStorage {
  constexpr CacheStorage() noexcept : cache() {}
  ~CacheStorage() {}
  EventCache cache;
};

}  // namespace

// Announces a call before it looks whether the cache is enabled, so that
// close() can wait for those that found it so.
class [[nodiscard]] EventCache::Use {
 public:
  [[nodiscard]] explicit Use(EventCache& cache) : _cache(cache) {
    ++_cache._uses;
  }
  ~Use() { --_cache._uses; }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

 private:
  EventCache& _cache;
};

HANDLE EventCache::take() {
  const HANDLE cached = pop();
  return cached != nullptr ? cached : create_event();
}

void EventCache::give_back(HANDLE event) {
  if (_enabled) {
    nt::ZwSetEvent(event, nullptr);
    if (push(event)) return;
  }
  nt::ZwClose(event);
}

void EventCache::close() {
  _enabled = false;
  // The last thread of a process may find calls that were cut off.
  while (_uses != 0 && !ThreadIsTerminating()) Sleep(1);
  EventCacheBlock* block = _block;
  if (block == nullptr) return;
  close_events();
  _block = nullptr;
  UnmapViewOfFile(block);
  CloseHandle(_mapping);
  _mapping = nullptr;
}

// Other modules may go on with the block, so it is emptied under its lock.
void EventCache::close_events() {
  if (!cache_lock()) return;
  EventCacheBlock* block = _block;
  const std::uint32_t count =
      std::min(block->count, EventCacheBlock::kCapacity);
  std::for_each_n(block->events, count, nt::ZwClose);
  block->count = 0;
  cache_unlock();
}

HANDLE EventCache::pop() {
  Use use(*this);
  if (!_enabled || !cache_lock()) return nullptr;
  EventCacheBlock* block = _block;
  HANDLE event = nullptr;
  if (block->count > 0 && block->count <= EventCacheBlock::kCapacity) {
    event = block->events[--block->count];
  }
  cache_unlock();
  return event;
}

bool EventCache::push(HANDLE event) {
  Use use(*this);
  if (!_enabled || !cache_lock()) return false;
  EventCacheBlock* block = _block;
  const bool room = block->count < EventCacheBlock::kCapacity;
  if (room) block->events[block->count++] = event;
  cache_unlock();
  return room;
}

bool EventCache::cache_lock() {
  EventCacheBlock* block = mapped_block();
  if (block == nullptr) return false;
  for (unsigned passes = 1;; ++passes) {
    std::uint32_t seen = kFree;
    if (block->lock.compare_exchange_strong(seen, kHeld)) return true;
    nt::ZwYieldExecution();
    if (passes <= kPassesBeforeSleep) continue;
    if (ThreadIsTerminating()) {
      block->lock.exchange(kHeld);
      return true;
    }
    Sleep(1);
    passes = 0;
  }
}

void EventCache::cache_unlock() {
  if (_block.load()->lock.exchange(kFree) != kHeld) vel_trap();
}

EventCacheBlock* EventCache::mapped_block() {
  EventCacheBlock* block = _block.load(std::memory_order_acquire);
  if (block != nullptr || !_enabled) return block;
  VelFastMutex::Scope scope(_map_lock);
  for (unsigned slot = 0; _block == nullptr && slot < kNameSlots; ++slot) {
    if (map_block(slot)) break;
  }
  return _block;
}

bool EventCache::map_block(unsigned slot) {
  wchar_t name[32];
  wsprintfW(name, L"VEL_WIEC_%u_%x", slot, current_process_id());
  const HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                            PAGE_READWRITE | SEC_COMMIT, 0,
                                            sizeof(EventCacheBlock), name);
  if (mapping == nullptr) return false;
  void* view =
      MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(EventCacheBlock));
  if (view == nullptr) {
    CloseHandle(mapping);
    return false;
  }
  _mapping = mapping;
  _block.store(static_cast<EventCacheBlock*>(view), std::memory_order_release);
  return true;
}

EventCache& event_cache() {
  static constinit CacheStorage storage;
  static constinit OnceGuard guard;
  guard.run([] { std::atexit([] { storage.cache.close(); }); });
  return storage.cache;
}

}  // namespace vel
