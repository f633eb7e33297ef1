// What this folder makes once and the exit handlers free.
#ifndef VEL_SECURITY_KEPTUNTILEXIT_H_
#define VEL_SECURITY_KEPTUNTILEXIT_H_

#include <memory>
#include <tuple>
#include <utility>

#include "sync/VelFastMutex.h"

namespace vel {

// Null, or one object that was kept. No destructor: a thread or a later exit
// handler may still ask when the object has been freed, and finds none then.
// Guarded by a lock of the caller's.
template <typename T>
class Kept {
 public:
  constexpr Kept() noexcept = default;
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;

  T* get() const noexcept { return _object; }
  T* keep(std::unique_ptr<T> object) noexcept {
    free();
    return _object = object.release();
  }
  void free() noexcept { delete std::exchange(_object, nullptr); }

 private:
  T* _object = nullptr;
};

// Frees what it was given under their lock when the exit handlers run: one at
// namespace scope, after what it names.
template <typename... Objects>
class FreeAtExit {
 public:
  constexpr explicit FreeAtExit(VelFastMutex& lock,
                                Objects&... objects) noexcept
      : _lock(lock), _objects(objects...) {}
  ~FreeAtExit() {
    const VelFastMutex::Scope scope(_lock);
    std::apply([](auto&... object) { (object.free(), ...); }, _objects);
  }
  FreeAtExit(const FreeAtExit&) = delete;
  FreeAtExit& operator=(const FreeAtExit&) = delete;

 private:
  VelFastMutex& _lock;
  const std::tuple<Objects&...> _objects;
};

}  // namespace vel

#endif  // VEL_SECURITY_KEPTUNTILEXIT_H_
