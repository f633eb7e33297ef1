// A library that calls a function of the test when the process ends.
#include <windows.h>

namespace {
void (*at_process_end)() = nullptr;
}  // namespace

extern "C" __declspec(dllexport) void CallAtProcessEnd(void (*function)()) {
  at_process_end = function;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* process_ends) {
  if (reason == DLL_PROCESS_DETACH && process_ends && at_process_end) {
    at_process_end();
  }
  return TRUE;
}
