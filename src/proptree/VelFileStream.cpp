#include "proptree/VelFileStream.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "sync/Trap.h"

namespace vel {
namespace {

constexpr std::size_t kBufferSize = 0x10000;
constexpr std::size_t kReadPastBuffer = 0x8000;
constexpr std::size_t kSizeLimit = 0x80000000;

ScopedFileHandle open(const std::wstring& path, bool writing) {
  return ScopedFileHandle(CreateFileW(
      path.c_str(), writing ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
      writing ? 0 : FILE_SHARE_READ, nullptr,
      writing ? CREATE_ALWAYS : OPEN_EXISTING,
      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
}

}  // namespace

VelFileStream::VelFileStream(const std::wstring& path, bool writing)
    : _writing(writing), _file(open(path, writing)) {
  note(_file.valid());
}

VelFileStream::~VelFileStream() {
  if (!_file || !_writing) return;
  write_through(_buffer.data(), _buffer.size());
  FlushFileBuffers(_file.get());
}

bool VelFileStream::Write(const void* buffer, std::size_t size) {
  if (size >= kSizeLimit) vel_trap();
  if (_failed) return false;
  if (_buffer.size() + size > kBufferSize) {
    if (!write_through(_buffer.data(), _buffer.size())) return false;
    _buffer.clear();
  }
  if (size > kBufferSize) return write_through(buffer, size);
  if (_buffer.capacity() == 0) _buffer.reserve(kBufferSize);
  const auto* const bytes = static_cast<const std::uint8_t*>(buffer);
  _buffer.insert(_buffer.end(), bytes, bytes + size);
  return true;
}

bool VelFileStream::Read(void* buffer, std::size_t size) {
  if (size >= kSizeLimit) vel_trap();
  if (_read_pos == _buffer.size()) {
    if (size >= kReadPastBuffer) return read_through(buffer, size);
    if (!refill()) return false;
  }
  const std::size_t buffered =
      std::min<std::size_t>(size, _buffer.size() - _read_pos);
  if (buffered != 0) std::memcpy(buffer, &_buffer[_read_pos], buffered);
  _read_pos += buffered;
  return buffered == size ||
         read_through(static_cast<std::uint8_t*>(buffer) + buffered,
                      size - buffered);
}

// Passes on what came of a call, and keeps its error.
bool VelFileStream::note(bool done) {
  if (!done && _error == 0) _error = GetLastError();
  return done;
}

bool VelFileStream::write_through(const void* buffer, std::size_t size) {
  if (size == 0) return true;
  DWORD written = 0;
  _failed = !note(WriteFile(_file.get(), buffer, static_cast<DWORD>(size),
                            &written, nullptr)) ||
            written != size;
  return !_failed;
}

bool VelFileStream::read_through(void* buffer, std::size_t size) {
  DWORD read = 0;
  return note(ReadFile(_file.get(), buffer, static_cast<DWORD>(size), &read,
                       nullptr)) &&
         read == size;
}

bool VelFileStream::refill() {
  _buffer.resize(kBufferSize);
  _read_pos = 0;
  DWORD read = 0;
  if (!note(
          ReadFile(_file.get(), _buffer.data(), kBufferSize, &read, nullptr))) {
    _buffer.clear();
    return false;
  }
  _buffer.resize(read);
  return true;
}

}  // namespace vel
