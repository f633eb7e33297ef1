#ifndef VEL_TRAY_SESSIONWAITS_H_
#define VEL_TRAY_SESSIONWAITS_H_

#include <windows.h>

#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {

// Keeps what a plug-in asks for from inside a session event out of rings of
// waits. During such an event its thread has the lock of the session, and
// during a close the map of the sessions, too. So from inside one
//   - the event's own configuration is refused;
//   - every configuration is refused while a close is under way, on whichever
//     thread: a close comes to the session of the event, and waits;
//   - a configuration is refused whose own event asks, directly or through
//     others, for that of this event.
// Every other call goes on. A call from outside of session events is never
// refused: it may wait, but nobody waits for it.
//
// One lock, for moments; it is outside the map's lock in the look-up of a call
// from inside an event, and innermost otherwise.
class SessionWaits {
 public:
  // A session event on the calling thread, for the length of the scope.
  class [[nodiscard]] Event {
   public:
    // `config` is that of the session that is being started, null for the
    // events of a close. Not copied.
    [[nodiscard]] Event(SessionWaits* waits, const wchar_t* config);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

   private:
    friend class SessionWaits;

    SessionWaits* const _waits;
    const DWORD _thread;
    const wchar_t* const _config;
    // What the thread waits for inside this event.
    const wchar_t* _wanted = nullptr;
    Event* _next = nullptr;
  };

  enum class Purpose { kStart, kClose };

  // A call for a configuration, for the length of the scope.
  class [[nodiscard]] Call {
   public:
    // Null for all configurations. `config` isn't copied.
    [[nodiscard]] Call(SessionWaits* waits, const wchar_t* config,
                       Purpose purpose);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    [[nodiscard]] bool refused() const { return _refused; }
    // The configuration was looked up in the map. Until then no close begins
    // that this call would wait for: there is no gap behind the answer of
    // refused().
    void looked_up();

   private:
    SessionWaits* const _waits;
    const Purpose _purpose;
    // The event that the call comes from; null outside.
    Event* _event = nullptr;
    bool _refused = false;
    bool _holds_lock = false;
  };

  // A session event is under way.
  [[nodiscard]] bool has_events();

  SessionWaits() = default;
  SessionWaits(const SessionWaits&) = delete;
  SessionWaits& operator=(const SessionWaits&) = delete;

 private:
  Event* innermost(DWORD thread) const VEL_REQUIRES(_lock);
  const Event* owner_of(const wchar_t* config) const VEL_REQUIRES(_lock);
  bool closes_ring(const wchar_t* wanted, DWORD thread) const
      VEL_REQUIRES(_lock);

  VelFastMutex _lock;
  // Those under way, the latest first; each lies on its thread's stack.
  Event* _events VEL_GUARDED_BY(_lock) = nullptr;
  // The closes under way, and those about to begin.
  int _closes VEL_GUARDED_BY(_lock) = 0;
};

}  // namespace vel

#endif  // VEL_TRAY_SESSIONWAITS_H_
