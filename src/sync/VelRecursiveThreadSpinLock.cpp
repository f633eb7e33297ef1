#include "sync/VelRecursiveThreadSpinLock.h"

#include <windows.h>

#include <cstdio>
#include <stdexcept>

#include "sync/CurrentThread.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

// A compare-exchange of 0 with 0, so that every read is a full barrier.
template <typename T>
T read(std::atomic<T>& word) {
  T value = 0;
  word.compare_exchange_strong(value, 0);
  return value;
}

template <typename T>
void clear_if_still(std::atomic<T>& word, T value) {
  word.compare_exchange_strong(value, 0);
}

// A thread that has ended can still be opened while a handle on it is left, and
// here its own handle in the word is: so an opened thread is asked once more.
bool is_gone(std::uint32_t id) {
  const ScopedHandle thread(OpenThread(SYNCHRONIZE, FALSE, id));
  if (!thread) return GetLastError() != ERROR_ACCESS_DENIED;
  return WaitForSingleObject(thread.get(), 0) == WAIT_OBJECT_0;
}

template <typename... Args>
[[noreturn]] void throw_misuse(const char* format, Args... args) {
  char text[160];
  std::snprintf(text, sizeof(text), format, args...);
  throw std::runtime_error(text);
}

}  // namespace

bool VelRecursiveThreadSpinLock::TryEnter() {
  forget_dead_owner();
  ScopedHandle self(OpenThread(SYNCHRONIZE, FALSE, current_thread_id()));
  const std::uint32_t me = current_thread_id();
  std::uint32_t owner = 0;
  if (!_ctx->owner_tid.compare_exchange_strong(owner, me) && owner != me) {
    return false;
  }
  keep_handle(std::move(self));
  const std::int32_t count = read(_ctx->recursion_cnt);
  if (count < 0) {
    throw_misuse(
        "VelRecursiveThreadSpinLock::TryEnter: _ctx.recursion_cnt = %d < 0 "
        "(owner_tid = %u)",
        static_cast<int>(count), static_cast<unsigned>(me));
  }
  _ctx->recursion_cnt.fetch_add(1);
  return true;
}

void VelRecursiveThreadSpinLock::Enter() {
  while (!TryEnter()) Sleep(1);
}

void VelRecursiveThreadSpinLock::Leave() {
  const std::uint32_t me = current_thread_id();
  const std::uint32_t owner = read(_ctx->owner_tid);
  if (owner != me) {
    throw_misuse(
        "VelRecursiveThreadSpinLock::Leave: called from thread tid=%u, whilst "
        "the owner thread tid=%u",
        static_cast<unsigned>(me), static_cast<unsigned>(owner));
  }
  const std::uint32_t handle = _ctx->owner_handle.exchange(0);
  const std::int32_t count = read(_ctx->recursion_cnt);
  if (count <= 0) {
    throw_misuse(
        "VelRecursiveThreadSpinLock::Leave: _ctx.recursion_cnt = %d <= 0 "
        "before decrementing (owner_tid = %u)",
        static_cast<int>(count), static_cast<unsigned>(owner));
  }
  if (_ctx->recursion_cnt.fetch_sub(1) != 1) return;
  _ctx->owner_tid.exchange(0);
  const ScopedHandle closed(reinterpret_cast<HANDLE>(UINT_PTR{handle}));
}

bool VelRecursiveThreadSpinLock::IsHeld() const noexcept {
  return read(_ctx->owner_tid) != 0;
}

bool VelRecursiveThreadSpinLock::IsHeldByMe() const noexcept {
  return read(_ctx->owner_tid) == current_thread_id();
}

void VelRecursiveThreadSpinLock::forget_dead_owner() {
  const std::uint32_t handle = read(_ctx->owner_handle);
  const std::int32_t count = read(_ctx->recursion_cnt);
  const std::uint32_t owner = read(_ctx->owner_tid);
  if (owner == 0 || !is_gone(owner)) return;
  clear_if_still(_ctx->owner_handle, handle);
  clear_if_still(_ctx->recursion_cnt, count);
  clear_if_still(_ctx->owner_tid, owner);
}

void VelRecursiveThreadSpinLock::keep_handle(ScopedHandle self) {
  if (!self) return;
  const auto low =
      static_cast<std::uint32_t>(reinterpret_cast<UINT_PTR>(self.get()));
  std::uint32_t seen = 0;
  if (_ctx->owner_handle.compare_exchange_strong(seen, low)) {
    static_cast<void>(self.release());
  }
}

}  // namespace vel
