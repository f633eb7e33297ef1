// A library that holds the task code itself, as plug-ins may.
#include <windows.h>

#include "sync/EventCache.h"
#include "sync/VelTask.h"

namespace {

class SlowTask : public vel::SelfDeletingTask {
 public:
  SlowTask(HANDLE begun, HANDLE ended) : _begun(begun), _ended(ended) {}

 protected:
  void run() override {
    SetEvent(_begun);
    Sleep(300);
    SetEvent(_ended);
  }

 private:
  HANDLE _begun;
  HANDLE _ended;
};

}  // namespace

extern "C" __declspec(dllexport) void StartSlowTask(HANDLE begun,
                                                    HANDLE ended) {
  (new SlowTask(begun, ended))->start();
}

extern "C" __declspec(dllexport) HANDLE TakeEvent() {
  return vel::event_cache().take();
}
