// How a process learns whether the session library is in another one, and how a
// minimal mode travels from a parent to its child. The tray calls none of this;
// it belongs to the library's contract, for the system's other programs. No
// state, any thread.
#ifndef VEL_SESSIONS_MODEHANDOVER_H_
#define VEL_SESSIONS_MODEHANDOVER_H_

#include <windows.h>

#include <cstdint>
#include <string>

namespace vel {

// Whether the session library is in that process; with `need_ready` also
// whether its hooks are ready.
bool is_hooked_process(DWORD process_id, bool need_ready);
bool is_hooked_window(HWND window, bool need_ready);

// What query_hooks_ready asks of this process, each with those before it.
enum HooksLevel : int {
  kHooksLibraryLoaded = 0,
  kHooksSetUp = 1,
  kHooksSignalled = 2,  // and any other number
};
// False in a process that isn't the system's, one without VELDIR.
bool query_hooks_ready(int level);

// The minimal mode of a process, empty when it has none.
std::wstring get_min_mode(DWORD process_id);
// The parent's mode, else the own one: a child starts in its parent's mode.
std::wstring get_own_min_mode();

// Gives a mode to a process, for as long as that lives; a mode that is set
// can't change. `process` needs PROCESS_DUP_HANDLE and
// PROCESS_QUERY_INFORMATION. True as well when it has that mode already, in any
// case of letters. False with the last error: ERROR_ALREADY_EXISTS when it has
// another mode, ERROR_INVALID_HANDLE when `process` is none.
bool set_min_mode(const std::wstring& mode, HANDLE process);

// Loads the reduced build of the session library and puts it into this
// process's minimal mode. True as well when the library is there already; false
// when the process has no mode, or, which is logged, when a step failed.
bool CheckedVelulLoad();

// Forwards to the library's VelIpcConnect; 0 without the library.
std::uintptr_t vel_ipc_connect(std::uintptr_t argument);

}  // namespace vel

#endif  // VEL_SESSIONS_MODEHANDOVER_H_
