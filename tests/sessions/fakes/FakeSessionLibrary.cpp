// A session library whose manager is the test's.
#include "Doors.h"

namespace {
HINSTANCE own_module;
}

extern "C" __declspec(dllexport) IVelSession* VelCreateSession() {
  wchar_t path[MAX_PATH] = L"";
  GetModuleFileNameW(own_module, path, MAX_PATH);
  return vel::test::find_door<vel::test::ISessionDoor>(vel::test::kSessionDoor)
      ->create_session(path);
}

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) own_module = module;
  return TRUE;
}
