// The owner of one kernel handle of the kind whose empty value is null.
#ifndef VEL_COMPANIONS_COMMON_UNIQUEHANDLE_H_
#define VEL_COMPANIONS_COMMON_UNIQUEHANDLE_H_

#include <windows.h>

#include <utility>

namespace companion {

// Closing keeps the thread's last error, so an owner may go out of scope
// between a failure and the report of it.
class [[nodiscard]] UniqueHandle {
 public:
  UniqueHandle() = default;
  [[nodiscard]] explicit UniqueHandle(HANDLE handle) : _handle(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : _handle(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueHandle() { reset(); }

  HANDLE get() const { return _handle; }
  explicit operator bool() const { return _handle != nullptr; }
  // The address for a call that gives a handle; empty before that.
  HANDLE* put() {
    reset();
    return &_handle;
  }
  HANDLE release() { return std::exchange(_handle, nullptr); }
  void reset(HANDLE handle = nullptr) {
    const HANDLE old = std::exchange(_handle, handle);
    if (!old) return;
    const DWORD error = GetLastError();
    CloseHandle(old);
    SetLastError(error);
  }

 private:
  HANDLE _handle = nullptr;
};

}  // namespace companion

#endif  // VEL_COMPANIONS_COMMON_UNIQUEHANDLE_H_
