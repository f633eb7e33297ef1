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

// What a new file begins with.
struct FileBeginning {
  std::uint8_t bytes[kLogPlainHeaderBytes + sizeof kLogLeadIn +
                     kKeyErrorChars * sizeof(wchar_t)];
  std::uint32_t length = 0;

  // Gives the place that the data has now.
  void* add(const void* data, std::size_t size) noexcept {
    void* const place = bytes + length;
    std::memcpy(place, data, size);
    length += static_cast<std::uint32_t>(size);
    return place;
  }
  // On an error nothing is added.
  [[nodiscard]] std::uint32_t add_cipher_header(
      const StreamKeyBlock& key) noexcept {
    std::uint8_t wrapped[kWrappedKeyBytes] = {};
    std::uint32_t size = 0;
    const std::uint32_t error = seal_stream_key(key, wrapped, &size);
    if (error != 0) return error;
    add(kLogCipherMark, kLogMarkBytes);
    add(&size, sizeof size);
    add(wrapped, size);
    return 0;
  }
  void add_key_error(std::uint32_t error) noexcept {
    wchar_t record[kKeyErrorChars] = {};
    nt_print(record, kKeyErrorChars, L"stream_key_init_error=0x%x\n", error);
    add(record, sizeof record);
  }
};
static_assert(sizeof FileBeginning::bytes >=
              kLogCipherHeaderBytes + sizeof kLogLeadIn);

bool is_mark(const char (&found)[kLogMarkBytes], const char* mark) noexcept {
  return std::memcmp(found, mark, kLogMarkBytes) == 0;
}

}  // namespace

void VelLogStream::open_first_file() noexcept {
  const LogMutex mutex;
  rotate_by_age(false);
  if (open_file(EmptyFile::kLeave) != kExisted || header_is_ours()) return;
  // Under another key, or with the cipher on the other way: two keys in one
  // file would make it unreadable. Or its beginning was cut off.
  close_file();
  rotate_by_age(true);
  open_file(EmptyFile::kLeave);
}

NTSTATUS VelLogStream::write_out(void* data, std::uint32_t length) noexcept {
  const NTSTATUS status = rotate_by_size();
  if (_file == nullptr) return status;
  if (_ciphered) {
    length -= static_cast<std::uint32_t>(length % kLogUnitBytes);
    if (!encipher(data, length)) return nt::kStatusUnsuccessful;
  }
  std::uint32_t written;
  return append(data, fill_up(data, length), &written);
}

std::uint32_t VelLogStream::fill_up(void* data,
                                    std::uint32_t length) const noexcept {
  const std::uint64_t header =
      _ciphered ? kLogCipherHeaderBytes : kLogPlainHeaderBytes;
  const auto missing =
      static_cast<std::uint32_t>((header - _file_end) % kLogUnitBytes);
  if (missing == 0) return length;
  auto* const bytes = static_cast<std::uint8_t*>(data);
  std::memmove(bytes + missing, bytes, length);
  std::memset(bytes, 0, missing);
  return length + missing;
}

ULONG_PTR VelLogStream::open_file(EmptyFile empty) noexcept {
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
  const bool begins = io.Information == kCreated ||
                      (empty == EmptyFile::kBegin &&
                       nt::succeeded(find_end()) && _file_end == 0);
  return begins && !begin_file(key_error) ? kNoFile : io.Information;
}

std::uint32_t VelLogStream::take_stream_key() noexcept {
  StreamKeyBlock key;
  const std::uint32_t error = get_stream_key(key);
  if (error != 0) return error;
  if (!_key_schedule.set_key(key)) return kSealNoMemory;
  std::memcpy(_stream_key, key, sizeof key);
  _ciphered = true;
  return 0;
}

// The cipher may be on from an earlier file whose key is gone now.
bool VelLogStream::begin_file(std::uint32_t key_error) noexcept {
  FileBeginning beginning;
  if (_ciphered && key_error == 0) {
    key_error = beginning.add_cipher_header(_stream_key);
  }
  if (key_error != 0) _ciphered = false;
  if (!_ciphered) beginning.add(kLogPlainMark, kLogMarkBytes);
  void* const lead_in = beginning.add(kLogLeadIn, sizeof kLogLeadIn);
  if (key_error != 0) beginning.add_key_error(key_error);
  std::uint32_t written = 0;
  if ((!_ciphered || encipher(lead_in, kLogUnitBytes)) &&
      nt::succeeded(append(beginning.bytes, beginning.length, &written)) &&
      written == beginning.length) {
    _file_end = written;
    return true;
  }
  // A record without a whole header ahead of it could never be read.
  if (written != 0) empty_current_file();
  close_file();
  return false;
}

NTSTATUS VelLogStream::append(const void* data, std::uint32_t length,
                              std::uint32_t* written) noexcept {
  IO_STATUS_BLOCK io = {};
  const NTSTATUS status = nt::ZwWriteFile(_file, nullptr, nullptr, nullptr, &io,
                                          data, length, nullptr, nullptr);
  *written = static_cast<std::uint32_t>(io.Information);
  return status;
}

bool VelLogStream::header_is_ours() noexcept {
  char mark[kLogMarkBytes];
  if (!read_at(0, mark, sizeof mark)) return false;
  if (is_mark(mark, kLogPlainMark)) {
    return !_ciphered && has_lead_in(kLogPlainHeaderBytes);
  }
  return is_mark(mark, kLogCipherMark) && _ciphered && wrapped_key_is_ours() &&
         has_lead_in(kLogCipherHeaderBytes);
}

// Whole, that is: what is in it belongs to the reader.
bool VelLogStream::has_lead_in(LONGLONG offset) noexcept {
  std::uint8_t unit[kLogUnitBytes];
  return read_at(offset, unit, sizeof unit);
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
