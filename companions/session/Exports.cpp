// What the library exports by name, beside the anchor's entry.
#include <windows.h>

#include <new>

#include "session/HookEvent.h"
#include "session/MinMode.h"
#include "session/SessionManager.h"

extern "C" {

IVelSession* VelCreateSession() {
  return new (std::nothrow) velul::SessionManager;
}

int InitMinMode(const wchar_t* mode) {
  return velul::init_min_mode(mode);
}

const std::uint32_t* VelQueryInitHooksParam() {
  return velul::hook_record();
}

// This library has no inter-process channel to connect.
std::uintptr_t VelIpcConnect(std::uintptr_t) {
  SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
  return 0;
}

}  // extern "C"
