#include "process/StartupTrim.h"

#include <malloc.h>

namespace vel {

StartupTrim::StartupTrim(UINT delay_ms)
    : _timer(SetTimer(nullptr, 0, delay_ms, nullptr)) {}

StartupTrim::~StartupTrim() {
  Disarm();
}

bool StartupTrim::OnMessage(const MSG& message) {
  if (!armed() || message.message != WM_TIMER || message.wParam != _timer) {
    return false;
  }
  Disarm();
  _heapmin();
  SetProcessWorkingSetSize(GetCurrentProcess(), static_cast<SIZE_T>(-1),
                           static_cast<SIZE_T>(-1));
  return true;
}

void StartupTrim::Disarm() {
  if (!armed()) return;
  KillTimer(nullptr, _timer);
  _timer = 0;
}

}  // namespace vel
