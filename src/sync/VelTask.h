#ifndef VEL_SYNC_VELTASK_H_
#define VEL_SYNC_VELTASK_H_

#include <windows.h>

namespace vel {

// A piece of work that runs on a thread of the system's pool, and an event that
// tells when it is idle. A task can be started again once it is idle.
//
// One thread at a time may start a task. The object must be idle when it is
// destroyed, which is a trap otherwise, except at the end of the process. A
// derived class that may still run then waits in its own destructor, while its
// run() can still be called.
//
// A library that holds this code isn't unloaded before its tasks have ended;
// starting one after that is a trap. Its tasks must run or be over when it is
// unloaded: one that needs a new thread of the pool waits for the loader's
// lock, which the unload holds, and both wait for ever.
class VelTask {
 public:
  // Idle. An event that can't be made is a trap.
  VelTask();
  virtual ~VelTask();
  VelTask(const VelTask&) = delete;
  VelTask& operator=(const VelTask&) = delete;

  // Runs the task once; an earlier run is waited for. False, with the last
  // error set, when the pool doesn't take it: the task is idle then, and
  // neither run() nor finished() is called. A task that deletes itself may be
  // gone when this returns true.
  bool start();
  // Waits until the task is idle, and dispatches the window messages of the
  // calling thread meanwhile. False when the wait fails, which is logged.
  bool wait();
  // From start() until the idle event of that run.
  [[nodiscard]] bool is_running() const;

 protected:
  // The work, on a pool thread. An exception that leaves it ends the process.
  virtual void run() = 0;
  // The end of a run, on the same thread: signals the idle event. Whoever
  // waited may destroy the object from then on, so an override that goes on to
  // use it must know who else can. The caller doesn't touch the object again.
  virtual void finished();

  // Manual-reset, signalled while the task is idle. The task's own.
  [[nodiscard]] HANDLE done_event() const { return _done; }

 private:
  static DWORD WINAPI entry(void* task) noexcept;

  HANDLE _done;
};

// A task on the heap that deletes itself at the end of its run. Whoever has
// started it doesn't use it any more. One that could not be started is still
// its maker's.
class SelfDeletingTask : public VelTask {
 protected:
  void finished() override;
};

}  // namespace vel

#endif  // VEL_SYNC_VELTASK_H_
