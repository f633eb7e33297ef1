// The entry of the program: chooses what this run is (a second copy that hands
// its command line over, a tool, the tray) and carries it out.
#ifndef VEL_PROCESS_VELGUI_H_
#define VEL_PROCESS_VELGUI_H_

#include <windows.h>

#include <string>

namespace vel {

// The exit codes of every run but an install run.
enum VelExitCode : int {
  kExitDone = 0,
  // A running copy refused the command line or doesn't answer, or an
  // installation waits for a reboot.
  kExitRefused = 1,
  // 0xFFFFFFFF to who asks for the exit code.
  kExitNoResources = -1,
};

// The whole run; returns the exit code of the process. Sets the environment
// variable VELDIR for this process and its children. The way up to the
// hand-over to a running tray touches no file and loads no library.
int vel_entry(HINSTANCE instance);

// Holds the mutex that marks a running program while vel_main_select runs, and
// returns its exit code.
int BrindlemarMain(const std::wstring& cmd_line);

// Walks the modes in their order; the first that fits the command line and the
// state of the machine decides. Returns the exit code.
int vel_main_select(const std::wstring& cmd_line);

// Makes the language resources ready. False when the texts for the user can't
// be had; they are all empty then.
bool load_resources();

// Brings the browsers in line with the user's search and start-page options.
void apply_preferences();

}  // namespace vel

#endif  // VEL_PROCESS_VELGUI_H_
