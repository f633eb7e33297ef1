#ifndef VEL_SYNC_LASTERRORKEEPER_H_
#define VEL_SYNC_LASTERRORKEEPER_H_

#include <windows.h>

namespace vel {

// Keeps the thread's last-error value over a scope: saved by the constructor,
// restored by the destructor, whatever is called in between, and also when an
// exception passes. For one thread; put it on the stack.
class [[nodiscard]] LastErrorKeeper {
 public:
  [[nodiscard]] LastErrorKeeper() noexcept : _value(GetLastError()) {}
  ~LastErrorKeeper() { SetLastError(_value); }
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

 private:
  const DWORD _value;
};

}  // namespace vel

#endif  // VEL_SYNC_LASTERRORKEEPER_H_
