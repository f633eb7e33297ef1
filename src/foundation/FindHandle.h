#ifndef VEL_FOUNDATION_FINDHANDLE_H_
#define VEL_FOUNDATION_FINDHANDLE_H_

#include <windows.h>

#include <string>

#include "sync/ScopedHandle.h"

namespace vel {

struct FindHandleTraits {
  using Handle = HANDLE;
  static HANDLE invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static bool close(HANDLE handle) noexcept { return FindClose(handle) != 0; }
};

// One search of a directory, at its first entry once made:
//   for (FindScope find(pattern); find; find.next()) use(find.data());
class [[nodiscard]] FindScope {
 public:
  [[nodiscard]] explicit FindScope(const std::wstring& pattern)
      : _handle(FindFirstFileW(pattern.c_str(), &_data)) {}

  // Whether there is an entry.
  explicit operator bool() const { return _handle.valid(); }
  const WIN32_FIND_DATAW& data() const { return _data; }
  bool is_directory() const {
    return (_data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  }
  // Whether the entry is the directory itself or the one above it.
  bool is_dots() const {
    const wchar_t* name = _data.cFileName;
    if (*name++ != L'.') return false;
    return *name == L'\0' || (*name == L'.' && name[1] == L'\0');
  }
  // Goes on to the next entry; after the last one the search is closed.
  void next() {
    if (!FindNextFileW(_handle.get(), &_data)) _handle.reset();
  }

 private:
  WIN32_FIND_DATAW _data = {};
  BasicScopedHandle<FindHandleTraits> _handle;
};

}  // namespace vel

#endif  // VEL_FOUNDATION_FINDHANDLE_H_
