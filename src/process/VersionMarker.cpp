#include "process/VersionMarker.h"

#include <algorithm>
#include <utility>

#include "foundation/PathParts.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

std::uint64_t to_number(const FILETIME& time) {
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 |
         time.dwLowDateTime;
}

std::uint64_t last_write_time(const std::wstring& path) {
  const ScopedFileHandle file(CreateFileW(
      path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  FILETIME time = {};
  if (!file || !GetFileTime(file.get(), nullptr, nullptr, &time)) return 0;
  return to_number(time);
}

// The marker holds digits and dots; anything else only has to differ.
std::wstring widen_bytes(const std::string& bytes) {
  std::wstring text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return text;
}

std::string narrow_to_bytes(const std::wstring& text) {
  std::string bytes;
  for (const wchar_t unit : text) bytes += static_cast<char>(unit);
  return bytes;
}

}  // namespace

VersionMarker::VersionMarker(std::wstring current, const std::wstring& path)
    : _current(std::move(current)),
      _saved_time(last_write_time(path)),
      _file(path, true) {
  _saved = widen_bytes(_file.data());
  _changed = _saved != _current;
}

bool VersionMarker::should_delete(const WIN32_FIND_DATAW& find_data) {
  if (_changed || (find_data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
    return true;
  }
  return std::max(to_number(find_data.ftCreationTime),
                  to_number(find_data.ftLastWriteTime)) > _saved_time;
}

bool VersionMarker::should_remove_root() {
  return false;
}

bool VersionMarker::Commit() {
  make_directories(_file.path());
  _file.edit() = narrow_to_bytes(_current);
  if (!_file.Save()) return false;
  _saved = _current;
  _changed = false;
  return true;
}

}  // namespace vel
