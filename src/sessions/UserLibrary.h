#ifndef VEL_SESSIONS_USERLIBRARY_H_
#define VEL_SESSIONS_USERLIBRARY_H_

#include <windows.h>

#include <string>

namespace vel {

// Whether the configuration `config` is a minimal mode: its DWORD in the table
// of minimal modes isn't 0. A DWORD of the user's table wins over the
// machine's, 0 included. Null asks for the configuration of this process,
// VELCFG.
bool is_min_mode(const wchar_t* config);

// Loads VELUL.dll in its full or its reduced build; a redirection in the
// registry wins over the program's folder. The caller frees it. Null, with the
// last error set, when it can't be loaded.
HMODULE load_vel_ul();
HMODULE load_vel_ul_min();

// Where these look.
std::wstring vel_ul_path(bool reduced);

}  // namespace vel

#endif  // VEL_SESSIONS_USERLIBRARY_H_
