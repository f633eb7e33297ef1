#include "log/VelLog.h"
#include "sync/MessagePump.h"
#include "sync/VelSyncNt.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\VelSyncNt";

}  // namespace

MessagePump::~MessagePump() {
  if (_quit) PostQuitMessage(_exit_code);
}

void MessagePump::dispatch_waiting() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
    if (message.message == WM_QUIT) {
      _quit = true;
      _exit_code = static_cast<int>(message.wParam);
      continue;
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

WaitResult WaitWithMessages(HANDLE handle) {
  MessagePump pump;
  for (;;) {
    const DWORD result =
        MsgWaitForMultipleObjects(1, &handle, FALSE, INFINITE, QS_ALLINPUT);
    switch (result) {
      case WAIT_OBJECT_0:
        return kWaitSignalled;
      case WAIT_OBJECT_0 + 1:
        pump.dispatch_waiting();
        break;
      case WAIT_TIMEOUT:
        return kWaitTimedOut;
      default:
        VEL_LOG_WIN32_CALL();
        return kWaitFailed;
    }
  }
}

}  // namespace vel
