#include "tray/SessionWaits.h"

#include <cwchar>

namespace vel {

SessionWaits::Event::Event(SessionWaits* waits, const wchar_t* config)
    : _waits(waits), _thread(GetCurrentThreadId()), _config(config) {
  const VelFastMutex::Scope scope(_waits->_lock);
  _next = _waits->_events;
  _waits->_events = this;
}

SessionWaits::Event::~Event() {
  const VelFastMutex::Scope scope(_waits->_lock);
  Event** link = &_waits->_events;
  while (*link != this) link = &(*link)->_next;
  *link = _next;
}

// The lock is kept for a look-up from inside an event only: others may have to
// wait in the map for a close, which needs the lock to end.
SessionWaits::Call::Call(SessionWaits* waits, const wchar_t* config,
                         Purpose purpose) VEL_NO_THREAD_ANALYSIS
    : _waits(waits),
      _purpose(purpose) {
  _waits->_lock.lock();
  _event = _waits->innermost(GetCurrentThreadId());
  if (_event != nullptr) {
    _refused = config == nullptr || _waits->_closes != 0 ||
               _waits->closes_ring(config, _event->_thread);
    if (!_refused) _event->_wanted = config;
  }
  if (!_refused && _purpose == Purpose::kClose) ++_waits->_closes;
  _holds_lock = _event != nullptr && !_refused && _purpose == Purpose::kStart;
  if (!_holds_lock) _waits->_lock.unlock();
}

SessionWaits::Call::~Call() {
  if (_refused) return;
  looked_up();
  const VelFastMutex::Scope scope(_waits->_lock);
  if (_event != nullptr) _event->_wanted = nullptr;
  if (_purpose == Purpose::kClose) --_waits->_closes;
}

void SessionWaits::Call::looked_up() VEL_NO_THREAD_ANALYSIS {
  if (!_holds_lock) return;
  _holds_lock = false;
  _waits->_lock.unlock();
}

bool SessionWaits::has_events() {
  const VelFastMutex::Scope scope(_lock);
  return _events != nullptr;
}

SessionWaits::Event* SessionWaits::innermost(DWORD thread) const {
  Event* event = _events;
  while (event != nullptr && event->_thread != thread) event = event->_next;
  return event;
}

const SessionWaits::Event* SessionWaits::owner_of(const wchar_t* config) const {
  const Event* event = _events;
  while (event != nullptr &&
         (event->_config == nullptr || _wcsicmp(event->_config, config) != 0)) {
    event = event->_next;
  }
  return event;
}

// Follows the waits from the one who has `wanted`. No ring is among them: each
// was looked at like this when it began.
bool SessionWaits::closes_ring(const wchar_t* wanted, DWORD thread) const {
  while (wanted != nullptr) {
    const Event* const owner = owner_of(wanted);
    if (owner == nullptr) return false;
    if (owner->_thread == thread) return true;
    const Event* const last = innermost(owner->_thread);
    wanted = last != nullptr ? last->_wanted : nullptr;
  }
  return false;
}

}  // namespace vel
