#include "session/CallbackList.h"

#include <algorithm>

namespace velul {

using companion::SrwLock;

void CallbackList::add(IVelSessionCallback* callback) {
  const SrwLock::Scope scope(_lock);
  _callbacks.push_back(callback);
}

void CallbackList::remove(IVelSessionCallback* callback) {
  SrwLock::Scope scope(_lock);
  std::erase(_callbacks, callback);
  while (_in_call == callback && _calling_thread != GetCurrentThreadId()) {
    scope.wait(&_call_ended);
  }
}

void CallbackList::notify(std::uint32_t status) {
  std::vector<IVelSessionCallback*> callbacks;
  {
    const SrwLock::Scope scope(_lock);
    callbacks = _callbacks;
  }
  for (IVelSessionCallback* const callback : callbacks) {
    if (!begin_call(callback)) continue;
    try {
      callback->MgrShutdown(status);
    } catch (...) {
      // Who removes it from another thread waits for the end of the call.
      end_call();
      throw;
    }
    end_call();
  }
}

// False when the callback has been removed since the list was copied.
bool CallbackList::begin_call(IVelSessionCallback* callback) {
  const SrwLock::Scope scope(_lock);
  if (std::find(_callbacks.begin(), _callbacks.end(), callback) ==
      _callbacks.end()) {
    return false;
  }
  _in_call = callback;
  _calling_thread = GetCurrentThreadId();
  return true;
}

void CallbackList::end_call() {
  const SrwLock::Scope scope(_lock);
  _in_call = nullptr;
  _calling_thread = 0;
  WakeAllConditionVariable(&_call_ended);
}

}  // namespace velul
