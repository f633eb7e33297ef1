// The file's side of VelLogStream. Runs under the log's lock, except in the
// constructor and the destructor, and must not log.

#include "log/VelLogStream.h"

namespace vel {
namespace {

constexpr ULONG_PTR kNoFile = 5;

}  // namespace

NTSTATUS VelLogStream::write_out(void* data, std::uint32_t length) noexcept {
  if (_file == nullptr && open_file() == kNoFile) {
    return nt::kStatusUnsuccessful;
  }
  IO_STATUS_BLOCK io;
  return nt::ZwWriteFile(_file, nullptr, nullptr, nullptr, &io, data, length,
                         nullptr, nullptr);
}

ULONG_PTR VelLogStream::open_file() noexcept {
  _file = nullptr;
  return kNoFile;
}

}  // namespace vel
