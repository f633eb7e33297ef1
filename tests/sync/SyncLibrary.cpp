// A library that holds the task code itself, as plug-ins may, and decides when
// it can be unloaded.
#include <windows.h>

#include "sync/EventCache.h"
#include "sync/VelTask.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace {

std::atomic<long> answer{0};
std::atomic<bool> slow_task_runs{false};
HANDLE slow_task_ended = nullptr;
void (*at_process_end)() = nullptr;

class SlowTask : public vel::SelfDeletingTask {
  void run() override {
    slow_task_runs = true;
    Sleep(300);
    SetEvent(slow_task_ended);
  }
};

}  // namespace

EXPORTED long VelDllCanUnloadNow() {
  return answer;
}

EXPORTED void AnswerWith(long value) {
  answer = value;
}

// Returns when the task runs: an unload holds the loader's lock, which a new
// thread of the pool needs before it takes on a task.
EXPORTED void StartSlowTask(HANDLE ended) {
  slow_task_ended = ended;
  (new SlowTask)->start();
  while (!slow_task_runs) Sleep(1);
}

EXPORTED HANDLE TakeEvent() {
  return vel::event_cache().take();
}

EXPORTED void CallAtProcessEnd(void (*function)()) {
  at_process_end = function;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* process_ends) {
  if (reason == DLL_PROCESS_DETACH && process_ends && at_process_end) {
    at_process_end();
  }
  return TRUE;
}
