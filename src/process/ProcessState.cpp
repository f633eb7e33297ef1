#include "process/ProcessState.h"

#include "tray/EntryHooks.h"

namespace vel {

constinit HINSTANCE instance_handle = nullptr;
constinit bool already_running = false;
constinit std::atomic<bool> started = false;
constinit bool guest_mode = false;
constinit std::atomic<bool> restart_after_exit = false;
constinit HMODULE resources = nullptr;
constinit VersionMarker* version_marker = nullptr;

}  // namespace vel
