#ifndef VEL_SYNC_SCOPEDHANDLE_H_
#define VEL_SYNC_SCOPEDHANDLE_H_

#include <windows.h>

#include <memory>
#include <utility>

#include "sync/LastErrorKeeper.h"
#include "sync/Trap.h"

namespace vel {

// The owner of one handle of the kind that `Traits` describes:
//   using Handle        the handle's type
//   static Handle invalid()   the value that stands for "no handle"
//   static bool close(Handle) false when the handle wasn't valid
// Closing keeps the thread's last-error value. A close that fails is a trap:
// somebody else has closed a handle that this object owns. Not for use by two
// threads at a time.
template <typename Traits>
class [[nodiscard]] BasicScopedHandle {
 public:
  using Handle = typename Traits::Handle;

  BasicScopedHandle() noexcept = default;
  // Takes over `handle`; the invalid value makes an empty object.
  [[nodiscard]] explicit BasicScopedHandle(Handle handle) noexcept
      : _handle(handle) {}
  ~BasicScopedHandle() { reset(); }

  BasicScopedHandle(BasicScopedHandle&& other) noexcept
      : _handle(other.release()) {}
  BasicScopedHandle& operator=(BasicScopedHandle&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }

  [[nodiscard]] Handle get() const noexcept { return _handle; }
  [[nodiscard]] bool valid() const noexcept {
    return _handle != Traits::invalid();
  }
  explicit operator bool() const noexcept { return valid(); }

  // Closes what is held and takes over `handle`.
  void reset(Handle handle = Traits::invalid()) noexcept {
    const Handle old = std::exchange(_handle, handle);
    if (old == Traits::invalid()) return;
    LastErrorKeeper keeper;
    if (!Traits::close(old)) vel_trap();
  }

  // Gives the handle to the caller, who closes it.
  [[nodiscard]] Handle release() noexcept {
    return std::exchange(_handle, Traits::invalid());
  }

  // Closes what is held and gives the address for a function that hands back
  // a handle through a pointer. That function must write either a handle or
  // the invalid value.
  [[nodiscard]] Handle* put() noexcept {
    reset();
    return &_handle;
  }

 private:
  Handle _handle = Traits::invalid();
};

// Events, threads, processes, mutexes, mappings, tokens: null means none.
struct NullHandleTraits {
  using Handle = HANDLE;
  static HANDLE invalid() noexcept { return nullptr; }
  static bool close(HANDLE handle) noexcept { return CloseHandle(handle) != 0; }
};

// What CreateFileW, CreateNamedPipeW and their kin give: -1 means none.
struct FileHandleTraits {
  using Handle = HANDLE;
  static HANDLE invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static bool close(HANDLE handle) noexcept { return CloseHandle(handle) != 0; }
};

using ScopedHandle = BasicScopedHandle<NullHandleTraits>;
using ScopedFileHandle = BasicScopedHandle<FileHandleTraits>;

// A reference-counted handle of the null kind: copies share it, and the last
// one to go closes it. Copies in several threads are safe, one copy used by two
// threads isn't.
class [[nodiscard]] SharedHandle {
 public:
  SharedHandle() noexcept = default;
  // Takes over `handle`; null makes an empty object. When there is no memory
  // for the counter the handle is closed and std::bad_alloc goes out.
  [[nodiscard]] explicit SharedHandle(HANDLE handle)
      : SharedHandle(ScopedHandle(handle)) {}
  [[nodiscard]] explicit SharedHandle(ScopedHandle handle) {
    if (handle) {
      _shared = std::make_shared<const ScopedHandle>(std::move(handle));
    }
  }

  [[nodiscard]] HANDLE get() const noexcept {
    return _shared ? _shared->get() : nullptr;
  }
  [[nodiscard]] bool valid() const noexcept { return _shared != nullptr; }
  explicit operator bool() const noexcept { return valid(); }
  // Gives up this reference.
  void reset() noexcept { _shared.reset(); }

 private:
  std::shared_ptr<const ScopedHandle> _shared;
};

}  // namespace vel

#endif  // VEL_SYNC_SCOPEDHANDLE_H_
