// How the fake libraries reach the test that has loaded them: by the address in
// an environment variable. What a library does is decided in the test.
#ifndef VEL_TESTS_SESSIONS_FAKES_DOORS_H_
#define VEL_TESTS_SESSIONS_FAKES_DOORS_H_

#include <windows.h>

#include <cstdint>
#include <cwchar>

#include "vel/IVelPlugin.h"
#include "vel/IVelSession.h"

namespace vel::test {

// `library` is always the library's file name, as it was loaded.
class IPluginDoor {
 public:
  virtual IVelPlugin* get_plugin(const wchar_t* library, IVelPluginHost* host,
                                 const wchar_t* parameters) = 0;
  virtual long can_unload_now(const wchar_t* library) = 0;
  virtual void unloaded(const wchar_t* library) = 0;
};
inline constexpr wchar_t kPluginDoor[] = L"VEL_TEST_PLUGIN_DOOR";

class ISessionDoor {
 public:
  // `path` is the library's full path.
  virtual IVelSession* create_session(const wchar_t* path) = 0;
};
inline constexpr wchar_t kSessionDoor[] = L"VEL_TEST_SESSION_DOOR";

// The door of the dialog library leads to its factory.
inline constexpr wchar_t kDialogDoor[] = L"VEL_TEST_DIALOG_DOOR";

template <class Door>
void open_door(const wchar_t* variable, Door* door) {
  wchar_t address[20];
  _snwprintf(address, 20, L"%I64x", reinterpret_cast<std::uintptr_t>(door));
  SetEnvironmentVariableW(variable, address);
}

template <class Door>
Door* find_door(const wchar_t* variable) {
  wchar_t address[20] = L"";
  GetEnvironmentVariableW(variable, address, 20);
  return reinterpret_cast<Door*>(std::wcstoull(address, nullptr, 16));
}

}  // namespace vel::test

#endif  // VEL_TESTS_SESSIONS_FAKES_DOORS_H_
