// A session library whose managers are the test's.
#include "Doors.h"

extern "C" __declspec(dllexport) IVelSession* VelCreateSession() {
  return vel::test::find_door<vel::test::ISessionDoor>()->create_session();
}
