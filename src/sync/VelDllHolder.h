#ifndef VEL_SYNC_VELDLLHOLDER_H_
#define VEL_SYNC_VELDLLHOLDER_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"
#include "sync/VelTask.h"

namespace vel {

// Holds a library in memory while it has users, and frees it when the library
// agrees. A library that exports VelDllCanUnloadNow and answers with other than
// 0 is asked again every 50 ms on a pool thread, until it answers 0 or has a
// user again.
//
// load() and unload() may be called by any thread, but not by the library's
// VelDllCanUnloadNow, its DllMain, or anything these wait for: the lock is held
// across all three. Nobody may have a load outstanding when the object is
// destroyed (a trap); the destructor waits until the library has gone.
class VelDllHolder : public VelTask {
 public:
  // Loads nothing. `path` is copied.
  explicit VelDllHolder(const wchar_t* path);
  ~VelDllHolder() override;

  // Adds a user and gives the library's handle, or null; the last error is set
  // when the system was asked, which isn't done again while there are users. A
  // failed load counts as a user too: each load() has its unload().
  HMODULE load();
  // Takes a user away; the library is freed now or in the background with the
  // last one. One unload() too many is a trap.
  void unload();

 protected:
  void run() override;
  void finished() override;

 private:
  bool may_unload() const VEL_REQUIRES(_lock);
  void free_module() VEL_REQUIRES(_lock);
  void unload_in_background() VEL_REQUIRES(_lock);

  long (*_can_unload)() VEL_GUARDED_BY(_lock) = nullptr;
  HMODULE _module VEL_GUARDED_BY(_lock) = nullptr;
  // A semaphore: one release for each time that the library was left without
  // a user and could not be freed at once. Made on first use.
  HANDLE _wake = nullptr;
  VelFastMutex _lock;
  std::int32_t _loads VEL_GUARDED_BY(_lock) = 0;
  wchar_t* const _path;
  // How many runs haven't left finished() yet: it uses the object past the
  // idle event.
  std::atomic<std::uint32_t> _task_started{0};
};

}  // namespace vel

#endif  // VEL_SYNC_VELDLLHOLDER_H_
