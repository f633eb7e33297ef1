#include "log/VelLogStream.h"

#include <cstring>

#include "log/LogRecord.h"
#include "log/VelLog.h"
#include "sync/LastErrorKeeper.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr std::uint32_t kBufferBytes = 0x11000;
// A record of this size goes past the buffer, and a buffer this full goes out.
constexpr std::uint32_t kPushBytes = 0x10000;
constexpr DWORD kPushInterval = 5120;  // ms
constexpr DWORD kTryPatience = 1000;   // ms
constexpr SIZE_T kHeapBytes = 0x10000;

}  // namespace

VelLogStream::VelLogStream(const wchar_t* source) noexcept
    : _next_flush_tick(GetTickCount() + kPushInterval) {
  const LastErrorKeeper keeper;
  _heap = HeapCreate(0, kHeapBytes, 0);
  _buffer = new_buffer();
  _level = read_log_level();
  _rotation_limit = read_rotation_limit(_level);
  make_log_path(source, _nt_path);
  open_first_file();
  if (_use_flush_thread) start_flush_thread();
}

VelLogStream::~VelLogStream() {
  const LastErrorKeeper keeper;
  if (_fill != 0) {
    hand_over_buffer();
    _buffer = nullptr;
    _fill = 0;
  }
  if (_use_flush_thread) drain_flush_thread();
  if (_flush_thread != nullptr) CloseHandle(_flush_thread);
  if (_owner_thread != nullptr) CloseHandle(_owner_thread);
  close_file();
  HeapDestroy(_heap);
}

const wchar_t* VelLogStream::path() const noexcept {
  const wchar_t* path = _nt_path + kNtPrefixChars;
  return _file != nullptr && *path != L'\0' ? path : nullptr;
}

void VelLogStream::keep(unsigned level, const wchar_t* format,
                        va_list args) noexcept {
  const LastErrorKeeper keeper;
  LogRecord record(_heap);
  // One that can't be formatted is lost, but not what it pushes to the file.
  if (record.format(level, format, args)) {
    unsigned flags = 0;
    if (level == kLogFatal) flags |= kSynchronous;
    if (record.is_block()) flags |= kOwned;
    enqueue(flags, record.data(), record.length());
    record.disown();
  }
  if (level == kLogError) flush_buffer();
}

void VelLogStream::flush_buffer() noexcept {
  const LastErrorKeeper keeper;
  const LogLock::Scope scope(_lock);
  if (_fill != 0) push_buffer();
}

void VelLogStream::try_flush_buffer() noexcept {
  const LastErrorKeeper keeper;
  if (!_lock.try_lock_for(kTryPatience)) return;
  if (_fill != 0) push_buffer();
  _lock.unlock();
}

void VelLogStream::enqueue(unsigned flags, void* data,
                           std::uint32_t length) noexcept {
  const DWORD now = GetTickCount();
  const LogLock::Scope scope(_lock);
  if (_fill != 0 && must_push(flags, length, now)) push_buffer();
  if (length < kPushBytes && (flags & kSynchronous) == 0) {
    collect(data, length);
  } else {
    write_through(flags, data, length);
  }
  if ((flags & kOwned) != 0) HeapFree(_heap, 0, data);
}

bool VelLogStream::must_push(unsigned flags, std::uint32_t length,
                             DWORD now) const noexcept {
  return _fill + length >= kBufferBytes || length >= kPushBytes ||
         (flags & kSynchronous) != 0 || now >= _next_flush_tick;
}

void VelLogStream::collect(const void* data, std::uint32_t length) noexcept {
  std::memcpy(_buffer + _fill, data, length);
  _fill += length;
  if (_fill >= kPushBytes) push_buffer();
}

void VelLogStream::write_through(unsigned flags, void* data,
                                 std::uint32_t length) noexcept {
  if (_file == nullptr) return;
  write_out(data, length);
  if ((flags & kSynchronous) == 0) return;
  flush_to_disk();
  vel_trap_in_lock();
}

// The buffer is replaced, not reused: the writer may change it in place.
void VelLogStream::push_buffer() noexcept {
  hand_over_buffer();
  _buffer = new_buffer();
  _fill = 0;
  _next_flush_tick = GetTickCount() + kPushInterval;
}

void VelLogStream::hand_over_buffer() noexcept {
  if (_use_flush_thread) {
    queue(kOwned, _buffer, _fill);
    return;
  }
  write_out(_buffer, _fill);
  HeapFree(_heap, 0, _buffer);
}

unsigned char* VelLogStream::new_buffer() noexcept {
  return static_cast<unsigned char*>(HeapAlloc(_heap, 0, kBufferBytes));
}

}  // namespace vel
