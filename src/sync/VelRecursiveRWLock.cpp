#include "sync/VelRecursiveRWLock.h"

#include <cstdint>

#include "sync/LastErrorKeeper.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr std::uint32_t kMaxDepth = 0xFFFF;
constexpr unsigned kWriteShift = 16;
constexpr DWORD kFreedIndex = static_cast<DWORD>(-2);

void count_up(std::uint32_t& depth) {
  if (depth == kMaxDepth) vel_trap();
  ++depth;
}

void count_down(std::uint32_t& depth) {
  if (depth == 0) vel_trap();
  --depth;
}

}  // namespace

VelRecursiveRWLock::VelRecursiveRWLock() : _tls_index(TlsAlloc()) {
  if (_tls_index == TLS_OUT_OF_INDEXES) vel_trap();
}

VelRecursiveRWLock::~VelRecursiveRWLock() {
  TlsFree(_tls_index);
  _tls_index = kFreedIndex;
}

void VelRecursiveRWLock::read_lock() {
  const LastErrorKeeper keeper;
  Depths mine = depths();
  if (mine.read == 0 && mine.write == 0) VelRWLock::read_lock();
  count_up(mine.read);
  store(mine);
}

void VelRecursiveRWLock::read_unlock() {
  const LastErrorKeeper keeper;
  Depths mine = depths();
  count_down(mine.read);
  store(mine);
  if (mine.read == 0 && mine.write == 0) VelRWLock::read_unlock();
}

void VelRecursiveRWLock::write_lock() {
  const LastErrorKeeper keeper;
  Depths mine = depths();
  if (mine.write == 0) {
    if (mine.read != 0) VelRWLock::read_unlock();
    VelRWLock::write_lock();
  }
  count_up(mine.write);
  store(mine);
}

void VelRecursiveRWLock::write_unlock() {
  const LastErrorKeeper keeper;
  Depths mine = depths();
  count_down(mine.write);
  store(mine);
  if (mine.write != 0) return;
  VelRWLock::write_unlock();
  if (mine.read != 0) VelRWLock::read_lock();
}

VelRecursiveRWLock::Depths VelRecursiveRWLock::depths() const noexcept {
  const auto slot = reinterpret_cast<UINT_PTR>(TlsGetValue(_tls_index));
  const auto packed = static_cast<std::uint32_t>(slot);
  return {.read = packed & kMaxDepth, .write = packed >> kWriteShift};
}

void VelRecursiveRWLock::store(Depths depths) noexcept {
  const UINT_PTR packed = depths.read | (depths.write << kWriteShift);
  if (TlsSetValue(_tls_index, reinterpret_cast<void*>(packed)) == 0) vel_trap();
}

}  // namespace vel
