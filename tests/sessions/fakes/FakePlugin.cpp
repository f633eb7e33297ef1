// A plug-in library whose plug-ins are the test's.
#include "Doors.h"

using vel::test::find_door, vel::test::IPluginDoor;

extern "C" __declspec(dllexport)
    IVelPlugin* GetVELPlugin(IVelPluginHost* host, const wchar_t* parameters) {
  return find_door<IPluginDoor>()->get_plugin(host, parameters);
}

extern "C" __declspec(dllexport) long VelDllCanUnloadNow() {
  return find_door<IPluginDoor>()->can_unload_now();
}
