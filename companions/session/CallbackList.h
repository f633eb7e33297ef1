// Who hears of a session's end.
#ifndef VEL_COMPANIONS_SESSION_CALLBACKLIST_H_
#define VEL_COMPANIONS_SESSION_CALLBACKLIST_H_

#include <vector>

#include "common/SrwLock.h"
#include "vel/IVelSession.h"

namespace velul {

// May be used by several threads at once, but notify by one at a time. No lock
// is held during a call to a callback.
class CallbackList {
 public:
  void add(IVelSessionCallback* callback);
  // When this has returned, no call to `callback` is under way, but for the
  // one that this is called from.
  void remove(IVelSessionCallback* callback);
  // Calls MgrShutdown of each.
  void notify(std::uint32_t status);

 private:
  bool begin_call(IVelSessionCallback* callback);
  void end_call();

  companion::SrwLock _lock;
  CONDITION_VARIABLE _call_ended = CONDITION_VARIABLE_INIT;
  // Guarded by _lock.
  std::vector<IVelSessionCallback*> _callbacks;
  IVelSessionCallback* _in_call = nullptr;
  DWORD _calling_thread = 0;
};

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_CALLBACKLIST_H_
