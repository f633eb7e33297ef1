#include "log/VelLogStream.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>

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
constexpr SIZE_T kHeapBytes = 0x10000;

constexpr std::uint32_t kDefaultLevel = 2;
constexpr std::uint32_t kPrivacyLevel = 5;
constexpr std::uint64_t kDebugRotationLimit = 0x8000000;
constexpr std::uint64_t kRotationLimit = 0x400000;
constexpr DWORD kEnvChars = 63;
constexpr std::size_t kNtPrefixChars = 4;

using EnvText = wchar_t[kEnvChars];

bool read_env(const wchar_t* name, EnvText& text) {
  const DWORD length = GetEnvironmentVariableW(name, text, kEnvChars);
  return length != 0 && length < kEnvChars;
}

}  // namespace

// The file, which is named after the source, comes with the first write_out().
VelLogStream::VelLogStream(const wchar_t* /*source*/) noexcept
    : _level(kDefaultLevel),
      _rotation_limit(kRotationLimit),
      _next_flush_tick(GetTickCount() + kPushInterval) {
  const LastErrorKeeper keeper;
  _heap = HeapCreate(0, kHeapBytes, 0);
  _buffer = new_buffer();
  read_level();
  if (_level < kDefaultLevel) _rotation_limit = kDebugRotationLimit;
}

VelLogStream::~VelLogStream() {
  if (_fill != 0) {
    write_out(_buffer, _fill);
    HeapFree(_heap, 0, _buffer);
    _buffer = nullptr;
    _fill = 0;
  }
  if (_file != nullptr) nt::ZwClose(_file);
  HeapDestroy(_heap);
}

void VelLogStream::read_level() noexcept {
  EnvText text;
  if (read_env(L"VELCFG", text) && _wcsicmp(text, L"Privacy") == 0) {
    _level = kPrivacyLevel;
  }
  // Later, so that it overrides the configuration.
  if (read_env(L"VELLOG", text) && text[0] >= L'0' && text[0] <= L'9') {
    _level = static_cast<std::uint32_t>(_wtoi(text));
  }
}

const wchar_t* VelLogStream::path() const noexcept {
  const wchar_t* path = _nt_path + kNtPrefixChars;
  return _file != nullptr && *path != L'\0' ? path : nullptr;
}

void VelLogStream::keep(unsigned level, const wchar_t* format,
                        va_list args) noexcept {
  const LastErrorKeeper keeper;
  LogRecord record(_heap);
  if (!record.format(level, format, args)) return;
  unsigned flags = 0;
  if (level == kLogFatal) flags |= kSynchronous;
  if (record.is_block()) flags |= kOwned;
  enqueue(flags, record.data(), record.length());
  record.disown();
  if (level == kLogError) flush_buffer();
}

void VelLogStream::flush_buffer() noexcept {
  const LogLock::Scope scope(_lock);
  if (_fill != 0) push_buffer(GetTickCount());
}

void VelLogStream::enqueue(unsigned flags, void* data,
                           std::uint32_t length) noexcept {
  const DWORD now = GetTickCount();
  const LogLock::Scope scope(_lock);
  if (_fill != 0 && must_push(flags, length, now)) push_buffer(now);
  if (length < kPushBytes && (flags & kSynchronous) == 0) {
    collect(data, length, now);
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

void VelLogStream::collect(const void* data, std::uint32_t length,
                           DWORD now) noexcept {
  std::memcpy(_buffer + _fill, data, length);
  _fill += length;
  if (_fill >= kPushBytes) push_buffer(now);
}

void VelLogStream::write_through(unsigned flags, void* data,
                                 std::uint32_t length) noexcept {
  if (_file == nullptr) return;
  write_out(data, length);
  if ((flags & kSynchronous) == 0) return;
  IO_STATUS_BLOCK io;
  nt::ZwFlushBuffersFile(_file, &io);
  vel_trap();
}

// The buffer is replaced, not reused: the writer may change it in place.
void VelLogStream::push_buffer(DWORD now) noexcept {
  write_out(_buffer, _fill);
  HeapFree(_heap, 0, _buffer);
  _buffer = new_buffer();
  _fill = 0;
  _next_flush_tick = now + kPushInterval;
}

unsigned char* VelLogStream::new_buffer() noexcept {
  return static_cast<unsigned char*>(HeapAlloc(_heap, 0, kBufferBytes));
}

}  // namespace vel
