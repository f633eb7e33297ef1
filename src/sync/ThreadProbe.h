#ifndef VEL_SYNC_THREADPROBE_H_
#define VEL_SYNC_THREADPROBE_H_

#include <windows.h>

#include <cstdint>

#include "sync/ScopedHandle.h"

namespace vel {

// How the word locks learn whether the owner of a word lives: by an attempt to
// open the thread. One that has ended can be opened, and counts as alive, for
// as long as somebody keeps a handle on it.
struct ThreadProbe {
  // One that may not be opened lives too.
  [[nodiscard]] bool alive() const noexcept {
    return error == ERROR_SUCCESS || error == ERROR_ACCESS_DENIED;
  }
  DWORD error;
};

// Keeps the last error.
[[nodiscard]] inline ThreadProbe probe_thread(std::uint32_t id) noexcept {
  const LastErrorKeeper keeper;
  const ScopedHandle thread(OpenThread(SYNCHRONIZE, FALSE, id));
  return {.error = thread ? DWORD{ERROR_SUCCESS} : GetLastError()};
}

}  // namespace vel

#endif  // VEL_SYNC_THREADPROBE_H_
