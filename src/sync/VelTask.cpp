#include "sync/VelTask.h"

#include "sync/CurrentThread.h"
#include "sync/EventCache.h"
#include "sync/NtApi.h"
#include "sync/Trap.h"
#include "sync/VelSyncNt.h"

// The start of the module that this code is linked into.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace vel {

namespace {

// The tasks of this module that are queued or running. Zero before its
// constructor function has run, and never destroyed as an object.
struct PendingTasks {
  CRITICAL_SECTION section;
  unsigned pending_tasks;
  bool tasks_closed;

  void add();
  void remove();
  // No task can be started from now on; true when none is left.
  bool close();
};

constinit PendingTasks pending{};

void PendingTasks::add() {
  EnterCriticalSection(&section);
  if (tasks_closed) vel_trap();
  ++pending_tasks;
  LeaveCriticalSection(&section);
}

void PendingTasks::remove() {
  EnterCriticalSection(&section);
  --pending_tasks;
  LeaveCriticalSection(&section);
}

bool PendingTasks::close() {
  EnterCriticalSection(&section);
  tasks_closed = true;
  const bool none = pending_tasks == 0;
  LeaveCriticalSection(&section);
  return none;
}

// Before the constructors of static objects, which may start tasks.
__attribute__((constructor(102))) void begin_tasks() {
  InitializeCriticalSection(&pending.section);
}

// At the unload of a library, before its objects of namespace scope go. The
// program itself never gets unmapped under its tasks.
__attribute__((destructor)) void end_tasks() {
  if (reinterpret_cast<HMODULE>(&__ImageBase) == GetModuleHandleW(nullptr)) {
    return;
  }
  if (ThreadIsTerminating()) return;
  constexpr unsigned kShortRounds = 100;
  for (unsigned round = 0; !pending.close(); ++round) {
    if (ThreadIsTerminating()) break;
    Sleep(round < kShortRounds ? 10 : 100);
  }
  DeleteCriticalSection(&pending.section);
}

}  // namespace

VelTask::VelTask() : _done(event_cache().take()) {}

VelTask::~VelTask() {
  if (is_running() && !ThreadIsTerminating()) vel_trap();
  event_cache().give_back(_done);
}

bool VelTask::start() {
  // The event's state before the reset tells whether the earlier run is over;
  // a look before would cost a system call more in every start.
  LONG was_idle = 0;
  nt::ZwResetEvent(_done, &was_idle);
  if (was_idle == 0) {
    nt::ZwWaitForSingleObject(_done, FALSE, nullptr);
    nt::ZwResetEvent(_done, nullptr);
  }
  pending.add();
  if (QueueUserWorkItem(&VelTask::entry, this, WT_EXECUTELONGFUNCTION)) {
    return true;
  }
  nt::ZwSetEvent(_done, nullptr);
  pending.remove();
  return false;
}

bool VelTask::wait() {
  return WaitWithMessages(_done) == kWaitSignalled;
}

bool VelTask::is_running() const {
  return WaitForSingleObject(_done, 0) == WAIT_TIMEOUT;
}

void VelTask::finished() {
  LONG was_idle = 0;
  nt::ZwSetEvent(_done, &was_idle);
  if (was_idle != 0) vel_trap();
}

// The object may be gone after finished().
DWORD WINAPI VelTask::entry(void* task) noexcept {
  static_cast<VelTask*>(task)->run();
  static_cast<VelTask*>(task)->finished();
  pending.remove();
  return 0;
}

void SelfDeletingTask::finished() {
  VelTask::finished();
  delete this;
}

}  // namespace vel
