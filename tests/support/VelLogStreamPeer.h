#ifndef VEL_TESTS_SUPPORT_VELLOGSTREAMPEER_H_
#define VEL_TESTS_SUPPORT_VELLOGSTREAMPEER_H_

#include <cstdarg>
#include <cstdint>
#include <cwchar>
#include <string>

#include "log/VelLogStream.h"

namespace vel {

class VelLogStreamPeer {
 public:
  explicit VelLogStreamPeer(VelLogStream& stream = *log_object.load())
      : _stream(stream) {}

  HANDLE heap() { return _stream._heap; }
  bool& ciphered() { return _stream._ciphered; }
  std::uint64_t& rotation_limit() { return _stream._rotation_limit; }
  std::uint32_t& next_flush_tick() { return _stream._next_flush_tick; }
  StreamKeyBlock& stream_key() { return _stream._stream_key; }
  LogCipher& cipher() { return _stream._key_schedule; }
  LogLock& lock() { return _stream._lock; }
  CipherLock& cipher_lock() { return _stream._cipher_lock; }

  NTSTATUS write_out(std::string units) {
    const auto length = static_cast<std::uint32_t>(units.size());
    units.resize(length + kLogUnitBytes);
    return _stream.write_out(units.data(), length);
  }
  bool begin_file(std::uint32_t key_error) {
    return _stream.begin_file(key_error);
  }
  void move_to(const std::wstring& path) {
    _stream.close_file();
    std::wcscpy(_stream._nt_path + kNtPrefixChars, path.c_str());
    _stream.open_file(VelLogStream::EmptyFile::kBegin);
  }
  void print(unsigned level, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    _stream.print(level, format, args);
    va_end(args);
  }

 private:
  VelLogStream& _stream;
};

}  // namespace vel

#endif  // VEL_TESTS_SUPPORT_VELLOGSTREAMPEER_H_
