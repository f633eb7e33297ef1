#include "log/LogChain.h"

#include <windows.h>

#include <memory>
#include <string>

#include "sync/ScopedHandle.h"

namespace vel {
namespace {

constexpr LONGLONG kCollectorLimit = 0x1000000;
constexpr DWORD kCopyBytes = 0x10000;

bool set_end(HANDLE file, LONGLONG size) {
  LARGE_INTEGER end;
  end.QuadPart = size;
  return SetFilePointerEx(file, end, nullptr, FILE_BEGIN) != 0 &&
         SetEndOfFile(file) != 0;
}

bool write_all(HANDLE file, const void* data, DWORD size) {
  DWORD written = 0;
  return WriteFile(file, data, size, &written, nullptr) != 0 && written == size;
}

bool copy(HANDLE from, HANDLE to, LONGLONG size) {
  const auto buffer = std::make_unique<unsigned char[]>(kCopyBytes);
  while (size > 0) {
    DWORD got = 0;
    if (ReadFile(from, buffer.get(), kCopyBytes, &got, nullptr) == 0 ||
        got == 0 || !write_all(to, buffer.get(), got)) {
      return false;
    }
    size -= got;
  }
  return size == 0;
}

bool append(HANDLE log, HANDLE collector) {
  LARGE_INTEGER log_size;
  LARGE_INTEGER old_size;
  if (GetFileSizeEx(log, &log_size) == 0 ||
      GetFileSizeEx(collector, &old_size) == 0) {
    return false;
  }
  if (old_size.QuadPart > kCollectorLimit) old_size.QuadPart = 0;
  // The room first: a full disk shows before anything is written.
  const LONGLONG field = sizeof log_size.QuadPart;
  const bool done =
      set_end(collector, old_size.QuadPart) &&
      set_end(collector, old_size.QuadPart + field + log_size.QuadPart) &&
      SetFilePointerEx(collector, old_size, nullptr, FILE_BEGIN) != 0 &&
      write_all(collector, &log_size.QuadPart, sizeof log_size.QuadPart) &&
      copy(log, collector, log_size.QuadPart);
  if (!done) set_end(collector, old_size.QuadPart);
  return done;
}

}  // namespace

bool append_to_chain(const wchar_t* log, const wchar_t* collector) {
  const std::wstring temporary = std::wstring(log) + L".tmp";
  if (MoveFileExW(log, temporary.c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
    DeleteFileW(log);
    return false;
  }
  bool done = false;
  {
    const ScopedFileHandle from(
        CreateFileW(temporary.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const ScopedFileHandle to(
        CreateFileW(collector, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    done = from && to && append(from.get(), to.get());
  }
  DeleteFileW(temporary.c_str());
  return done;
}

}  // namespace vel
