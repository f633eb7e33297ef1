#include "channels/ClientWaits.h"

#include <algorithm>
#include <cstddef>

#include "sync/CurrentThread.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ScopedHandle.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr ULONGLONG kNever = ~0ULL;
// Between two cancellations of one call.
constexpr DWORD kAgain = 10;  // ms
// A timer without a period can't be set again once it has come.
constexpr DWORD kTimerRests = 0x7FFFFFFF;  // ms

ULONGLONG due_after(ULONGLONG begin, DWORD limit) {
  return limit == INFINITE ? kNever : begin + limit;
}

// The thread is in a Call, so its id is still its own. One that can't be opened
// now is cancelled the next time.
void cancel(DWORD thread_id) {
  const ScopedHandle thread(OpenThread(THREAD_TERMINATE, FALSE, thread_id));
  if (thread) CancelSynchronousIo(thread.get());
}

}  // namespace

ClientWaits::Call::Call(ClientWaits& waits, Kind kind)
    : _waits(waits), _kind(kind), _thread(GetCurrentThreadId()) {
  _waits.add(*this);
}

ClientWaits::Call::~Call() {
  _waits.remove(*this);
}

// The timer's callback isn't running any more when the timer is gone. At the
// end of the process its thread is gone already.
ClientWaits::~ClientWaits() {
  if (_timer == nullptr || ThreadIsTerminating()) return;
  DeleteTimerQueueTimer(nullptr, _timer, INVALID_HANDLE_VALUE);
}

bool ClientWaits::Prepare() {
  return _timer != nullptr ||
         CreateTimerQueueTimer(&_timer, nullptr, &ClientWaits::on_timer, this,
                               kTimerRests, kTimerRests,
                               WT_EXECUTEINTIMERTHREAD) != FALSE;
}

void ClientWaits::Limit(Kind kind, DWORD limit) {
  const VelFastMutex::Scope scope(_lock);
  limit_of(kind) = limit;
  const ULONGLONG now = GetTickCount64();
  for (Call* call = _first; call != nullptr; call = call->_next) {
    if (call->_kind != kind) continue;
    call->_due = std::min(call->_due, due_after(now, limit));
  }
  set_timer(now);
}

void ClientWaits::DropOldest(Kind kind) {
  const VelFastMutex::Scope scope(_lock);
  thin_out(kind, 1);
  set_timer(GetTickCount64());
}

void CALLBACK ClientWaits::on_timer(void* self, BOOLEAN) {
  static_cast<ClientWaits*>(self)->end_overdue();
}

void ClientWaits::end_overdue() {
  const VelFastMutex::Scope scope(_lock);
  const ULONGLONG now = GetTickCount64();
  for (Call* call = _first; call != nullptr; call = call->_next) {
    if (call->_due > now) continue;
    call->_expired = true;
    cancel(call->_thread);
    call->_due = now + kAgain;
  }
  _timer_due = kNever;
  set_timer(now);
}

void ClientWaits::add(Call& call) {
  const LastErrorKeeper keeper;
  const VelFastMutex::Scope scope(_lock);
  const DWORD limit = limit_of(call._kind);
  call._began = GetTickCount64();
  call._due = due_after(call._began, limit);
  call._expired = limit == 0;
  call._previous = _last;
  (_last != nullptr ? _last->_next : _first) = &call;
  _last = &call;
  if (call._kind == Kind::kReply) {
    unsigned waiting = 0;
    for (Call* one = _first; one != nullptr; one = one->_next) {
      if (one->_kind == Kind::kReply) ++waiting;
    }
    if (waiting > kCrowd) thin_out(Kind::kReply, waiting - kCrowd);
  }
  set_timer(call._began);
}

void ClientWaits::remove(Call& call) {
  const VelFastMutex::Scope scope(_lock);
  (call._previous != nullptr ? call._previous->_next : _first) = call._next;
  (call._next != nullptr ? call._next->_previous : _last) = call._previous;
}

// The first `number` of this kind end as soon as they have the age.
void ClientWaits::thin_out(Kind kind, unsigned number) {
  for (Call* call = _first; call != nullptr && number > 0; call = call->_next) {
    if (call->_kind != kind) continue;
    call->_due = std::min(call->_due, call->_began + kCrowdPatience);
    --number;
  }
}

void ClientWaits::set_timer(ULONGLONG now) {
  ULONGLONG first = kNever;
  for (Call* call = _first; call != nullptr; call = call->_next) {
    first = std::min(first, call->_due);
  }
  if (first >= _timer_due || _timer == nullptr) return;
  const ULONGLONG in = first > now ? first - now : 0;
  _timer_due = first;
  if (!ChangeTimerQueueTimer(nullptr, _timer, static_cast<ULONG>(in),
                             kTimerRests)) {
    vel_trap();
  }
}

DWORD& ClientWaits::limit_of(Kind kind) {
  return _limits[static_cast<std::size_t>(kind)];
}

}  // namespace vel
