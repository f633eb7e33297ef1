#include "proptree/FileContents.h"

#include <windows.h>

#include <utility>

#include "sync/ScopedHandle.h"

namespace vel {
namespace {

ScopedFileHandle open(const std::wstring& path, DWORD access,
                      DWORD disposition) {
  return ScopedFileHandle(
      CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

FileContents::FileContents(std::wstring path, bool load)
    : _path(std::move(path)) {
  if (load) {
    Load();
  } else {
    _dirty = true;
  }
}

FileContents::~FileContents() {
  Save();
}

bool FileContents::Load() {
  const ScopedFileHandle file = open(_path, GENERIC_READ, OPEN_EXISTING);
  if (!file) return false;
  const DWORD size = GetFileSize(file.get(), nullptr);
  if (size == INVALID_FILE_SIZE) return false;
  _data.resize(size);
  DWORD read = 0;
  ReadFile(file.get(), _data.data(), size, &read, nullptr);
  _dirty = false;
  return read == size;
}

bool FileContents::Save() {
  if (!_dirty) return true;
  const ScopedFileHandle file =
      open(_path, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
  if (!file) return false;
  DWORD written = 0;
  WriteFile(file.get(), _data.data(), static_cast<DWORD>(_data.size()),
            &written, nullptr);
  _dirty = written < _data.size();
  return !_dirty;
}

std::string& FileContents::edit() {
  _dirty = true;
  return _data;
}

}  // namespace vel
