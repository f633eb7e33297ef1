// The file's side of VelLogStream. Runs under the log's lock, except in the
// constructor and the destructor, and must not log.

#include "log/VelLogStream.h"

#include <cstring>

#include "log/LogFormat.h"
#include "log/LogMutex.h"
#include "log/LogText.h"
#include "sync/NtHandle.h"

namespace vel {
namespace {

constexpr ULONG_PTR kExisted = 1;
constexpr ULONG_PTR kCreated = 2;
constexpr ULONG_PTR kNoFile = 5;

constexpr ACCESS_MASK kLogAccess =
    FILE_READ_DATA | FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
constexpr ULONG kShareAll =
    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

constexpr std::size_t kKeyErrorChars = 64;
constexpr LONGLONG kLengthOffset = kLogMarkBytes;
constexpr LONGLONG kWrappedKeyOffset = kLengthOffset + sizeof(std::uint32_t);

bool is_mark(const char (&found)[kLogMarkBytes], const char* mark) noexcept {
  return std::memcmp(found, mark, kLogMarkBytes) == 0;
}

}  // namespace

void VelLogStream::open_first_file() noexcept {
  const LogMutex mutex;
  rotate_by_age(false);
  if (open_file() != kExisted || header_is_ours()) return;
  // Under another key, or with the cipher on the other way: two keys in one
  // file would make it unreadable.
  close_file();
  rotate_by_age(true);
  open_file();
}

NTSTATUS VelLogStream::write_out(void* data, std::uint32_t length) noexcept {
  const NTSTATUS status = rotate_by_size();
  if (_file == nullptr) return status;
  if (_ciphered) {
    length -= static_cast<std::uint32_t>(length % kLogUnitBytes);
    if (!encipher(data, length)) return nt::kStatusUnsuccessful;
  }
  return append(data, length);
}

ULONG_PTR VelLogStream::open_file() noexcept {
  const std::uint32_t key_error = log_cipher_is_off() ? 0 : take_stream_key();
  NtObjectName name(_nt_path);
  IO_STATUS_BLOCK io = {};
  const NTSTATUS status = nt::ZwCreateFile(
      &_file, kLogAccess, name.attributes(), &io, nullptr,
      FILE_ATTRIBUTE_NORMAL, kShareAll, FILE_OPEN_IF,
      FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE, nullptr, 0);
  if (!nt::succeeded(status)) {
    _file = nullptr;
    return kNoFile;
  }
  if (io.Information == kCreated) begin_file(key_error);
  return io.Information;
}

std::uint32_t VelLogStream::take_stream_key() noexcept {
  const std::uint32_t error = get_stream_key(_stream_key);
  if (error != 0) return error;
  if (!_key_schedule.set_key(_stream_key)) return kSealNoMemory;
  _ciphered = true;
  return 0;
}

// The cipher may be on from an earlier file whose key is gone now.
void VelLogStream::begin_file(std::uint32_t key_error) noexcept {
  if (_ciphered && key_error == 0) key_error = write_cipher_header();
  if (key_error != 0) _ciphered = false;
  if (!_ciphered) append(kLogPlainMark, kLogMarkBytes);
  std::uint8_t lead_in[kLogUnitBytes];
  std::memcpy(lead_in, kLogLeadIn, sizeof lead_in);
  write_out(lead_in, sizeof lead_in);
  if (key_error != 0) write_key_error(key_error);
}

NTSTATUS VelLogStream::append(const void* data, std::uint32_t length) noexcept {
  IO_STATUS_BLOCK io;
  return nt::ZwWriteFile(_file, nullptr, nullptr, nullptr, &io, data, length,
                         nullptr, nullptr);
}

std::uint32_t VelLogStream::write_cipher_header() noexcept {
  std::uint8_t wrapped[kWrappedKeyBytes] = {};
  std::uint32_t length = 0;
  const std::uint32_t error = seal_stream_key(_stream_key, wrapped, &length);
  if (error != 0) return error;
  append(kLogCipherMark, kLogMarkBytes);
  append(&length, sizeof length);
  append(wrapped, length);
  return 0;
}

void VelLogStream::write_key_error(std::uint32_t error) noexcept {
  wchar_t record[kKeyErrorChars] = {};
  nt_print(record, kKeyErrorChars, L"stream_key_init_error=0x%x\n", error);
  write_out(record, sizeof record);
}

bool VelLogStream::header_is_ours() noexcept {
  char mark[kLogMarkBytes];
  if (!read_at(0, mark, sizeof mark)) return false;
  if (is_mark(mark, kLogPlainMark)) return !_ciphered;
  return is_mark(mark, kLogCipherMark) && _ciphered && wrapped_key_is_ours();
}

bool VelLogStream::wrapped_key_is_ours() noexcept {
  std::uint8_t ours[kWrappedKeyBytes];
  std::uint8_t found[kWrappedKeyBytes];
  std::uint32_t ours_length;
  std::uint32_t found_length;
  return seal_stream_key(_stream_key, ours, &ours_length) == 0 &&
         read_at(kLengthOffset, &found_length, sizeof found_length) &&
         found_length == kWrappedKeyBytes &&
         read_at(kWrappedKeyOffset, found, sizeof found) &&
         std::memcmp(ours, found, sizeof found) == 0;
}

bool VelLogStream::read_at(LONGLONG offset, void* data,
                           std::uint32_t size) noexcept {
  IO_STATUS_BLOCK io = {};
  LARGE_INTEGER position;
  position.QuadPart = offset;
  return nt::succeeded(nt::ZwReadFile(_file, nullptr, nullptr, nullptr, &io,
                                      data, size, &position, nullptr)) &&
         io.Information == size;
}

bool VelLogStream::encipher(void* data, std::uint32_t length) noexcept {
  const CipherLock::Scope scope(_cipher_lock);
  return _key_schedule.encipher(data, length);
}

void VelLogStream::flush_to_disk() noexcept {
  IO_STATUS_BLOCK io;
  nt::ZwFlushBuffersFile(_file, &io);
}

void VelLogStream::close_file() noexcept {
  if (_file != nullptr) nt::ZwClose(_file);
  _file = nullptr;
}

}  // namespace vel
