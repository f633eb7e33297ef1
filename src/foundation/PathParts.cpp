#include "foundation/PathParts.h"

#include <windows.h>

#include <utility>

#include "foundation/Text.h"
#include "sync/LastErrorKeeper.h"

namespace vel {
namespace {

constexpr std::wstring_view kWin32Prefix = L"\\\\?\\";

}  // namespace

std::wstring file_name_of(const std::wstring& path) {
  // npos + 1 is 0: everything.
  return path.substr(path.rfind(L'\\') + 1);
}

std::wstring directory_of(const std::wstring& path) {
  return path.substr(0, path.rfind(L'\\') + 1);
}

std::wstring with_slash(std::wstring path) {
  if (!path.empty() && path.back() != L'\\') path += L'\\';
  return path;
}

std::wstring without_slash(std::wstring path) {
  if (!path.empty() && path.back() == L'\\') path.pop_back();
  return path;
}

std::wstring lower_case(std::wstring text) {
  CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

std::wstring win32_path(const std::wstring& path) {
  if (!StartsWith(path, kNtPathPrefix)) return path;
  return std::wstring(kWin32Prefix) + path.substr(kNtPathPrefix.size());
}

void make_directories(const std::wstring& path) {
  LastErrorKeeper keeper;
  const std::wstring target = win32_path(path);
  if (GetFileAttributesW(target.c_str()) != INVALID_FILE_ATTRIBUTES) return;
  const std::size_t start =
      StartsWith(target, kWin32Prefix) ? kWin32Prefix.size() : 0;
  // The first component is a drive and isn't made.
  std::size_t slash = target.find(L'\\', start);
  while (slash != std::wstring::npos) {
    slash = target.find(L'\\', slash + 1);
    if (slash == std::wstring::npos) return;
    CreateDirectoryW(target.substr(0, slash + 1).c_str(), nullptr);
  }
}

}  // namespace vel
