#include "foundation/ReadFile.h"

#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <limits>
#include <memory>
#include <stdexcept>

#include "foundation/PathParts.h"
#include "foundation/Text.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

[[noreturn]] void fail(const char* format, const std::wstring& path) {
  const DWORD error = GetLastError();
  throw std::runtime_error(FormatNarrow(format, path.c_str(), error));
}

struct FreeDeleter {
  void operator()(wchar_t* text) const { free(text); }
};

bool is_directory(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

std::vector<BYTE> readFile(const std::wstring& path) {
  constexpr char kReadFailed[] = "readFile: ReadFile(%S) failed, error=%d";
  const ScopedFileHandle file(
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) fail("readFile: CreateFile(%S) failed, error=%d", path);

  LARGE_INTEGER size = {};
  if (!GetFileSizeEx(file.get(), &size)) fail(kReadFailed, path);
  if (size.QuadPart > std::numeric_limits<DWORD>::max()) {
    SetLastError(ERROR_FILE_TOO_LARGE);
    fail(kReadFailed, path);
  }
  std::vector<BYTE> data(static_cast<std::size_t>(size.QuadPart));
  DWORD read = 0;
  if (!ReadFile(file.get(), data.data(), size.LowPart, &read, nullptr) ||
      read != size.LowPart) {
    fail(kReadFailed, path);
  }
  return data;
}

TempDirectory::TempDirectory() {
  const std::unique_ptr<wchar_t, FreeDeleter> name(_wtempnam(L"", L"tmpdir"));
  if (!name) {
    throw std::runtime_error(FormatNarrow("_wtempnam failed, error=%d", errno));
  }
  _path = name.get();
  make_directories(with_slash(_path));
  if (!is_directory(_path)) {
    throw std::runtime_error(
        FormatNarrow("failed to create directory %S", _path.c_str()));
  }
}

}  // namespace vel
