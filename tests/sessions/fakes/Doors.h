// How the fake libraries reach the test that has loaded them: by the address in
// an environment variable, which has the interface's name. What a library does
// is decided in the test.
#ifndef VEL_TESTS_SESSIONS_FAKES_DOORS_H_
#define VEL_TESTS_SESSIONS_FAKES_DOORS_H_

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <typeinfo>

#include "vel/IVelPlugin.h"
#include "vel/IVelSession.h"

namespace vel::test {

struct IPluginDoor {
  virtual IVelPlugin* get_plugin(IVelPluginHost* host,
                                 const wchar_t* parameters) = 0;
  virtual long can_unload_now() = 0;
};

struct ISessionDoor {
  virtual IVelSession* create_session() = 0;
};

template <class Door>
void open_door(Door* door) {
  char address[20];
  std::snprintf(address, sizeof(address), "%p", static_cast<void*>(door));
  SetEnvironmentVariableA(typeid(Door).name(), address);
}

template <class Door>
Door* find_door() {
  char address[20] = "";
  GetEnvironmentVariableA(typeid(Door).name(), address, sizeof(address));
  return reinterpret_cast<Door*>(std::strtoull(address, nullptr, 16));
}

}  // namespace vel::test

#endif  // VEL_TESTS_SESSIONS_FAKES_DOORS_H_
