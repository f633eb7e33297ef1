#ifndef VEL_LOG_VELLOGSTREAM_H_
#define VEL_LOG_VELLOGSTREAM_H_

#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>

#include "log/LogLock.h"
#include "sync/NtApi.h"
#include "sync/ThreadAnnotations.h"

namespace vel {

// The log itself: builds records, collects them in one buffer and decides when
// the buffer goes to the file. Reached only through the functions of VelLog.h.
//
// Any thread may print() and flush_buffer(). Construction and destruction have
// a single owner and no lock. All memory comes from a private heap. Nothing in
// here may log, for its lock isn't recursive, so it reports to nobody; a file
// that can't be opened or written shows only as lost records.
class VelLogStream {
 public:
  // `source` names the file. Keeps the last error.
  explicit VelLogStream(const wchar_t* source) noexcept;
  // Writes what is collected and closes the file.
  virtual ~VelLogStream();
  VelLogStream(const VelLogStream&) = delete;
  VelLogStream& operator=(const VelLogStream&) = delete;

  // Drops what is below the threshold; otherwise collects the record, and for
  // level 3 pushes the buffer out behind it. Keeps the last error. Level 5
  // traps in here when there is a file.
  void print(unsigned level, const wchar_t* format, va_list args) noexcept {
    if (level >= _level) keep(level, format, args);
  }

  // Pushes the buffer to the file, without a flush to the disk.
  void flush_buffer() noexcept VEL_EXCLUDES(_lock);

  [[nodiscard]] std::uint32_t level() const noexcept { return _level; }
  // The Win32 form of the file's path, null while no file is open.
  [[nodiscard]] const wchar_t* path() const noexcept;

 private:
  friend class VelLogStreamPeer;

  enum Flags : unsigned {
    kSynchronous = 1,  // to the disk at once, then trap
    kOwned = 2,        // the data is a block of _heap, freed after use
  };

  void keep(unsigned level, const wchar_t* format, va_list args) noexcept;
  void enqueue(unsigned flags, void* data, std::uint32_t length) noexcept
      VEL_EXCLUDES(_lock);
  [[nodiscard]] bool must_push(unsigned flags, std::uint32_t length,
                               DWORD now) const noexcept VEL_REQUIRES(_lock);
  void collect(const void* data, std::uint32_t length, DWORD now) noexcept
      VEL_REQUIRES(_lock);
  void write_through(unsigned flags, void* data, std::uint32_t length) noexcept
      VEL_REQUIRES(_lock);
  void push_buffer(DWORD now) noexcept VEL_REQUIRES(_lock);
  [[nodiscard]] unsigned char* new_buffer() noexcept;
  void read_level() noexcept;

  // The writer's side (VelLogWriter.cpp). write_out() is the only way to the
  // file: hands back the status of the write, or of the attempt to get a file;
  // `length` is in bytes. The data is changed in place when it is enciphered.
  NTSTATUS write_out(void* data, std::uint32_t length) noexcept;
  // 1 for a file that existed, 2 for a new one, 5 for none.
  [[nodiscard]] ULONG_PTR open_file() noexcept;

  // A flush thread and the thread that it watches; null while
  // _use_flush_thread is off, and nothing turns it on.
  HANDLE _flush_thread = nullptr;
  HANDLE _owner_thread = nullptr;
  HANDLE _file = nullptr;  // null, or open for appending
  HANDLE _heap = nullptr;
  bool _use_flush_thread = false;
  bool _ciphered = false;
  std::uint32_t _level;
  unsigned char* _buffer = nullptr;
  std::uint32_t _fill = 0;         // bytes used in _buffer
  std::uint64_t _rotation_limit;   // bytes
  std::uint32_t _next_flush_tick;  // as GetTickCount
  LogLock _lock;
  wchar_t _nt_path[388] = {};  // "\??\" and the full path
};

// The one log of the process, null when there is none. For VelLog.cpp.
extern std::atomic<VelLogStream*> log_object;

}  // namespace vel

#endif  // VEL_LOG_VELLOGSTREAM_H_
