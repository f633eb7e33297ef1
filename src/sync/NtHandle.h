#ifndef VEL_SYNC_NTHANDLE_H_
#define VEL_SYNC_NTHANDLE_H_

#include <windows.h>

#include "sync/NtApi.h"
#include "sync/ScopedHandle.h"

namespace vel {

struct NtHandleTraits {
  using Handle = HANDLE;
  static HANDLE invalid() noexcept { return nullptr; }
  static bool close(HANDLE handle) noexcept {
    return nt::succeeded(nt::ZwClose(handle));
  }
};

// The owner of a handle that a native call has given; null means none.
using NtHandle = BasicScopedHandle<NtHandleTraits>;

// What a native call opens: a name of the object manager, case-insensitive,
// relative to the directory or key `root` unless that is null. Borrows `name`.
class NtObjectName {
 public:
  explicit NtObjectName(const wchar_t* name, HANDLE root = nullptr) noexcept {
    nt::RtlInitUnicodeString(&_name, name);
    _attributes.Length = sizeof _attributes;
    _attributes.RootDirectory = root;
    _attributes.ObjectName = &_name;
    _attributes.Attributes = OBJ_CASE_INSENSITIVE;
  }
  NtObjectName(const NtObjectName&) = delete;
  NtObjectName& operator=(const NtObjectName&) = delete;

  [[nodiscard]] OBJECT_ATTRIBUTES* attributes() noexcept {
    return &_attributes;
  }

 private:
  UNICODE_STRING _name = {};
  OBJECT_ATTRIBUTES _attributes = {};
};

}  // namespace vel

#endif  // VEL_SYNC_NTHANDLE_H_
