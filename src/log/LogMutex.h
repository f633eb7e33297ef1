#ifndef VEL_LOG_LOGMUTEX_H_
#define VEL_LOG_LOGMUTEX_H_

#include <windows.h>

namespace vel {

// The named mutex around structural changes of the log's files (making one with
// its header, moving, emptying), held for one scope, among all processes of the
// session. It improves the odds and is no condition: who can't have it within
// 15 seconds, and 15 more while access is refused, goes on without it. An
// abandoned mutex counts as taken.
//
// Recursive on its thread. Changes the last error.
class [[nodiscard]] LogMutex {
 public:
  [[nodiscard]] LogMutex() noexcept;
  ~LogMutex();
  LogMutex(const LogMutex&) = delete;
  LogMutex& operator=(const LogMutex&) = delete;

  [[nodiscard]] bool taken() const noexcept { return _mutex != nullptr; }

  static constexpr wchar_t kName[] = L"_VELINTERNAL_LOG_";

 private:
  HANDLE _mutex;
};

}  // namespace vel

#endif  // VEL_LOG_LOGMUTEX_H_
