#ifndef VEL_CHANNELS_CLIENTWAITS_H_
#define VEL_CHANNELS_CLIENTWAITS_H_

#include <windows.h>

#include <atomic>

#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {

// Limits how long the threads of a pipe server stay in blocking calls on their
// pipes. A call whose time is up is ended by CancelSynchronousIo and fails with
// ERROR_OPERATION_ABORTED. One timer of the system's timer thread serves all
// calls; it rests while no call has a limit.
//
// A cancellation hits the call that it is meant for and no other: it is made
// under the lock that the thread takes to leave the Call. One that comes before
// the thread has entered the system has no effect; it is repeated until the
// Call ends.
//
// Any thread may use any operation. No Call may be left at the destruction.
class ClientWaits {
 public:
  enum class Kind {
    kConnect,  // the server's loop waits for a client
    kRequest,  // a request is read
    kReply,    // a reply is written and fetched
    kExit,     // the server sends itself the exit command
  };
  // More than this many replies that wait at once are a crowd.
  static constexpr unsigned kCrowd = 32;
  // A call that is in the way of others isn't ended before this age.
  static constexpr DWORD kCrowdPatience = 100;  // ms

  class Call;

  ClientWaits() = default;
  ~ClientWaits();
  ClientWaits(const ClientWaits&) = delete;
  ClientWaits& operator=(const ClientWaits&) = delete;

  // Makes the timer, once. Without it no limit has an effect. False, with the
  // last error set, when the system gives none. For one thread at a time, which
  // impersonates nobody.
  [[nodiscard]] bool Prepare();

  // A call of this kind ends `limit` milliseconds after its begin at the
  // latest, one that is under way already `limit` from now; INFINITE, as at
  // first, for no limit. A longer limit doesn't change the calls under way.
  void Limit(Kind kind, DWORD limit);
  // Ends the call of this kind that began first, when it is kCrowdPatience old.
  void DropOldest(Kind kind);

 private:
  static void CALLBACK on_timer(void* self, BOOLEAN);
  void end_overdue();
  void add(Call& call);
  void remove(Call& call);
  void thin_out(Kind kind, unsigned number) VEL_REQUIRES(_lock);
  void set_timer(ULONGLONG now) VEL_REQUIRES(_lock);
  DWORD& limit_of(Kind kind) VEL_REQUIRES(_lock);

  HANDLE _timer = nullptr;
  VelFastMutex _lock;
  // In the order of their begin.
  Call* _first VEL_GUARDED_BY(_lock) = nullptr;
  Call* _last VEL_GUARDED_BY(_lock) = nullptr;
  DWORD _limits[4] VEL_GUARDED_BY(_lock) = {INFINITE, INFINITE, INFINITE,
                                            INFINITE};
  // When the timer comes, in the system's ticks.
  ULONGLONG _timer_due VEL_GUARDED_BY(_lock) = ~0ULL;
};

// The scope of the calling thread's blocking calls on one pipe; the limit is
// for all of them together. Belongs on the stack. Keeps the last error, and as
// a rule makes no call to the system.
class ClientWaits::Call {
 public:
  Call(ClientWaits& waits, Kind kind);
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // Whether the time was up. With a limit of 0 that is so from the begin, and
  // the caller needn't make its calls.
  [[nodiscard]] bool expired() const { return _expired; }

 private:
  friend class ClientWaits;

  ClientWaits& _waits;
  const Kind _kind;
  const DWORD _thread;
  std::atomic<bool> _expired{false};
  // Under the lock of `_waits`.
  ULONGLONG _began = 0;
  ULONGLONG _due = 0;
  Call* _previous = nullptr;
  Call* _next = nullptr;
};

}  // namespace vel

#endif  // VEL_CHANNELS_CLIENTWAITS_H_
