#include "sync/VelMemUtils.h"

#include <winternl.h>

#include <cstring>

#include "log/VelLog.h"
#include "sync/ScopedHandle.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\VelMemUtils";

// The view of a mapping. Its end keeps the last error.
class [[nodiscard]] MappedView {
 public:
  // `size` 0 maps the whole.
  [[nodiscard]] MappedView(HANDLE mapping, DWORD access, std::size_t size)
      : _bytes(static_cast<BYTE*>(MapViewOfFile(mapping, access, 0, 0, size))) {
  }
  ~MappedView() {
    LastErrorKeeper keeper;
    if (_bytes != nullptr && !UnmapViewOfFile(_bytes)) VEL_LOG_WIN32_CALL();
  }
  MappedView(const MappedView&) = delete;
  MappedView& operator=(const MappedView&) = delete;

  BYTE* bytes() const { return _bytes; }
  // In whole pages.
  std::size_t size() const {
    MEMORY_BASIC_INFORMATION region = {};
    VirtualQuery(_bytes, &region, sizeof region);
    return region.RegionSize;
  }

 private:
  BYTE* const _bytes;
};

// As a read behind the end of the view would end.
bool cut_short() {
  SetLastError(static_cast<DWORD>(STATUS_ACCESS_VIOLATION));
  VEL_LOG_WIN32_CALL();
  return false;
}

// Reads through the system, which fails where a direct read would fault. The
// code of that fault becomes the last error.
bool copy_guarded(void* target, const void* source, std::size_t size) {
  if (size == 0 ||
      ReadProcessMemory(GetCurrentProcess(), source, target, size, nullptr)) {
    return true;
  }
  return cut_short();
}

}  // namespace

HANDLE write_memory_block(const void* data, std::size_t length,
                          const wchar_t* name) {
  if (length >= kMemoryBlockLimit) vel_trap();
  const VelMemoryBlockHeader header = {static_cast<std::uint32_t>(length), {}};
  const std::size_t size = length + sizeof header;
  ScopedHandle mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                          PAGE_READWRITE | SEC_COMMIT, 0,
                                          static_cast<DWORD>(size), name));
  if (!mapping) {
    VEL_LOG_WIN32_CALL();
    return nullptr;
  }
  const MappedView view(mapping.get(), FILE_MAP_WRITE, size);
  if (view.bytes() == nullptr) {
    VEL_LOG_WIN32_CALL();
    return nullptr;
  }
  std::memcpy(view.bytes(), &header, sizeof header);
  if (length != 0) std::memcpy(view.bytes() + sizeof header, data, length);
  return mapping.release();
}

HANDLE write_memory_block(const std::vector<BYTE>& data, const wchar_t* name) {
  return write_memory_block(data.data(), data.size(), name);
}

bool read_memory_block(std::vector<BYTE>& data, const wchar_t* name) {
  struct [[nodiscard]] LoggedHandle {
    ~LoggedHandle() {
      LastErrorKeeper keeper;
      if (value != nullptr && !CloseHandle(value)) VEL_LOG_WIN32_CALL();
    }
    const HANDLE value;
  } const mapping{OpenFileMappingW(FILE_MAP_READ, FALSE, name)};
  return mapping.value != nullptr && read_memory_block(data, mapping.value);
}

bool read_memory_block(std::vector<BYTE>& data, HANDLE mapping) {
  const MappedView view(mapping, FILE_MAP_READ, 0);
  if (view.bytes() == nullptr) {
    VEL_LOG_WIN32_CALL();
    return false;
  }
  std::uint32_t length = 0;
  if (!copy_guarded(&length, view.bytes(), sizeof length)) return false;
  // Room is made for what is there, not for what a block says of itself.
  if (length > view.size() - sizeof(VelMemoryBlockHeader)) return cut_short();
  data.resize(length);
  return copy_guarded(data.data(), view.bytes() + sizeof(VelMemoryBlockHeader),
                      length);
}

bool read_global_memory(std::vector<BYTE>& data, HGLOBAL memory) {
  data.resize(GlobalSize(memory));
  if (data.empty()) return true;
  const void* const bytes = GlobalLock(memory);
  if (bytes == nullptr) {
    VEL_LOG_WIN32_CALL();
    return false;
  }
  std::memcpy(data.data(), bytes, data.size());
  GlobalUnlock(memory);
  return true;
}

HGLOBAL write_global_memory(const std::vector<BYTE>& data, UINT flags) {
  const HGLOBAL memory = GlobalAlloc(flags, data.size());
  if (memory == nullptr || data.empty()) return memory;
  void* const bytes = GlobalLock(memory);
  if (bytes == nullptr) {
    if (GlobalFree(memory) != nullptr) VEL_LOG_WIN32_CALL();
    return nullptr;
  }
  std::memcpy(bytes, data.data(), data.size());
  GlobalUnlock(memory);
  return memory;
}

}  // namespace vel
