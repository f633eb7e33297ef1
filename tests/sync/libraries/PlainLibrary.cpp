// A library that holds the task code itself, as plug-ins may, and isn't asked
// whether it can be unloaded.
#include <windows.h>

#include "sync/EventCache.h"
#include "sync/VelTask.h"

namespace {

void (*at_process_end)() = nullptr;

class SlowTask : public vel::SelfDeletingTask {
 public:
  explicit SlowTask(HANDLE ended) : _ended(ended) {}

 protected:
  void run() override {
    Sleep(300);
    SetEvent(_ended);
  }

 private:
  HANDLE _ended;
};

}  // namespace

extern "C" __declspec(dllexport) void StartSlowTask(HANDLE ended) {
  (new SlowTask(ended))->start();
}

extern "C" __declspec(dllexport) HANDLE TakeEvent() {
  return vel::event_cache().take();
}

extern "C" __declspec(dllexport) void CallAtProcessEnd(void (*function)()) {
  at_process_end = function;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* process_ends) {
  if (reason == DLL_PROCESS_DETACH && process_ends && at_process_end) {
    at_process_end();
  }
  return TRUE;
}
