// The process-wide state of the entry, but for the instance_handle that the
// tray uses too (tray/EntryHooks.h). All of it is constant-initialised and
// lives until the process ends.
#ifndef VEL_PROCESS_PROCESSSTATE_H_
#define VEL_PROCESS_PROCESSSTATE_H_

#include <windows.h>

#include <atomic>

namespace vel {

class VersionMarker;

// The mutex of a running program existed before this process opened it.
extern bool already_running;

// Set between vel_main_init and vel_main_term. The end of the Windows session
// brings the second one on the tray's window thread.
extern std::atomic<bool> started;

// The command line holds the text "/guest" anywhere.
extern bool guest_mode;

// Set by request_restart on any thread, read once at the end of the entry.
extern std::atomic<bool> restart_after_exit;

// The language-resource library, null until load_resources has found it.
extern HMODULE resources;

// Null until init_version_state has run; never deleted.
extern VersionMarker* version_marker;

}  // namespace vel

#endif  // VEL_PROCESS_PROCESSSTATE_H_
