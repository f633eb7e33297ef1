#ifndef VEL_LOG_VELLOGSTREAM_H_
#define VEL_LOG_VELLOGSTREAM_H_

#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>

#include "log/LogCipher.h"
#include "log/LogLock.h"
#include "log/LogSettings.h"
#include "log/StreamKey.h"
#include "sync/NtApi.h"
#include "sync/ThreadAnnotations.h"

namespace vel {

// The log itself: builds records, collects them in one buffer, decides when the
// buffer goes to the file, and shares that file with the other processes of the
// user. Reached only through the functions of VelLog.h.
//
// Any thread may print() and flush_buffer(). Construction and destruction have
// a single owner and no lock. All memory of its own comes from private heaps;
// opening a file asks the system for the user's key, which takes some of the
// process's. Nothing in here may log, for its lock isn't recursive, so it
// reports to nobody; a file that can't be opened or written shows only as lost
// records.
//
// `_file` is null, or open on the current name, or open on a name that another
// process has moved away; that ends at the next rotation or at the limit.
class VelLogStream {
 public:
  // `source` names the file, which is opened here. May wait half a minute for
  // another process in its rotation. Keeps the last error.
  explicit VelLogStream(const wchar_t* source) noexcept;
  // Writes what is collected and closes the file. Keeps the last error.
  virtual ~VelLogStream();
  VelLogStream(const VelLogStream&) = delete;
  VelLogStream& operator=(const VelLogStream&) = delete;

  // Drops what is below the threshold; otherwise collects the record, and for
  // level 3 pushes the buffer out behind it. Keeps the last error. Level 5
  // traps in here when there is a file.
  void print(unsigned level, const wchar_t* format, va_list args) noexcept {
    if (level >= _level) keep(level, format, args);
  }

  // Pushes the buffer to the file, without a flush to the disk. Keeps the last
  // error.
  void flush_buffer() noexcept VEL_EXCLUDES(_lock);
  // The same, unless the lock can't be had within 1 s or the calling thread has
  // it.
  void try_flush_buffer() noexcept;

  [[nodiscard]] std::uint32_t level() const noexcept { return _level; }
  // The Win32 form of the file's path, null while no file is open.
  [[nodiscard]] const wchar_t* path() const noexcept;

 private:
  friend class VelLogStreamPeer;

  enum Flags : unsigned {
    kSynchronous = 1,  // to the disk at once, then trap
    kOwned = 2,        // the data is a block of _heap, freed after use
  };

  // What the open file has become.
  enum class FileState { kFits, kGone, kFull };
  // What is done about a file that exists and holds nothing.
  enum class EmptyFile { kLeave, kBegin };

  // The front end (VelLogStream.cpp).
  void keep(unsigned level, const wchar_t* format, va_list args) noexcept;
  void enqueue(unsigned flags, void* data, std::uint32_t length) noexcept
      VEL_EXCLUDES(_lock);
  [[nodiscard]] bool must_push(unsigned flags, std::uint32_t length,
                               DWORD now) const noexcept VEL_REQUIRES(_lock);
  void collect(const void* data, std::uint32_t length) noexcept
      VEL_REQUIRES(_lock);
  void write_through(unsigned flags, void* data, std::uint32_t length) noexcept
      VEL_REQUIRES(_lock);
  void push_buffer() noexcept VEL_REQUIRES(_lock);
  void hand_over_buffer() noexcept;
  [[nodiscard]] unsigned char* new_buffer() noexcept;

  // The writer (VelLogWriter.cpp). These run under _lock, except while the
  // object is made or destroyed.
  //
  // The only way to the file: hands back the status of the write, or of the
  // rotation when there is no file. `length` is in bytes. The data is changed
  // in place, and has room for one more unit behind it.
  NTSTATUS write_out(void* data, std::uint32_t length) noexcept;
  // Moves the data up for the bytes that the file lacks to the next border of
  // its units, zeros; the new length.
  [[nodiscard]] std::uint32_t fill_up(void* data,
                                      std::uint32_t length) const noexcept;
  // 1 for a file that existed, 2 for a new one, 5 for none.
  ULONG_PTR open_file(EmptyFile empty) noexcept;
  void open_first_file() noexcept;
  // On failure an earlier key stays in the cipher: a file that is there was
  // begun under it.
  [[nodiscard]] std::uint32_t take_stream_key() noexcept;
  // Writes what a file begins with, in one call. False, with the file empty and
  // closed, when there is no room for all of it.
  [[nodiscard]] bool begin_file(std::uint32_t key_error) noexcept;
  // `written` gets the number of bytes.
  NTSTATUS append(const void* data, std::uint32_t length,
                  std::uint32_t* written) noexcept;
  [[nodiscard]] bool header_is_ours() noexcept;
  [[nodiscard]] bool has_lead_in(LONGLONG offset) noexcept;
  [[nodiscard]] bool wrapped_key_is_ours() noexcept;
  [[nodiscard]] bool read_at(LONGLONG offset, void* data,
                             std::uint32_t size) noexcept;
  [[nodiscard]] bool encipher(void* data, std::uint32_t length) noexcept
      VEL_EXCLUDES(_cipher_lock);
  void flush_to_disk() noexcept;
  void close_file() noexcept;
  void empty_current_file() noexcept;

  // When the file is replaced (LogRotation.cpp): by age at the start, `force`
  // for any age; by size before each write.
  void rotate_by_age(bool force) noexcept;
  NTSTATUS rotate_by_size() noexcept;
  [[nodiscard]] FileState look_at_file() noexcept;
  // Takes the file's size into _file_end.
  NTSTATUS find_end() noexcept;
  void move_aside() noexcept;

  // The flush thread (LogFlushThread.cpp).
  void start_flush_thread() noexcept;
  // Takes over `data`, a block of _heap. Under _lock.
  void queue(unsigned flags, void* data, std::uint32_t length) noexcept;
  void drain_flush_thread() noexcept;
  static unsigned __stdcall flush_thread_main(void* owner_thread) noexcept;
  static void CALLBACK write_request(ULONG_PTR request) noexcept;

  // A flush thread and the thread that it watches; null while
  // _use_flush_thread is off.
  HANDLE _flush_thread = nullptr;
  HANDLE _owner_thread = nullptr;
  HANDLE _file = nullptr;  // opened for appending
  HANDLE _heap = nullptr;
  // Off for good: all writing is done on the thread that logs. The road through
  // the flush thread stays in the design.
  bool _use_flush_thread = false;
  bool _ciphered = false;
  std::uint32_t _level = kDefaultLogLevel;
  unsigned char* _buffer = nullptr;
  std::uint32_t _fill = 0;            // bytes used in _buffer
  std::uint64_t _rotation_limit = 0;  // bytes
  std::uint32_t _next_flush_tick;     // as GetTickCount
  LogLock _lock;
  wchar_t _nt_path[kLogPathChars] = {};  // "\??\" and the full path
  std::uint64_t _file_end = 0;           // bytes, at the last look
  StreamKeyBlock _stream_key = {};
  LogCipher _key_schedule;
  CipherLock _cipher_lock;
};

// The one log of the process, null when there is none. For VelLog.cpp.
extern std::atomic<VelLogStream*> log_object;

}  // namespace vel

#endif  // VEL_LOG_VELLOGSTREAM_H_
