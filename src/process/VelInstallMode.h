// The installer's helper: what `/velinst` asks of an elevated process.
#ifndef VEL_PROCESS_VELINSTALLMODE_H_
#define VEL_PROCESS_VELINSTALLMODE_H_

#include <string>

namespace vel {

// What an install run hands back to the installer.
enum VelInstallExit : int {
  kInstallDone = 0,
  // At least one removal step failed; the others were done.
  kInstallStepFailed = 1,
  // The restricted group couldn't be created, or the running tray refused to
  // end and nothing was removed.
  kInstallRefused = 2,
};

// Does what the tokens in `/velinst="..."` ask for and returns the exit code of
// the process, one of VelInstallExit. The first of "[uninstall]", "[install]"
// and "[noreboot]" that is found decides. Blocks until all steps have run, some
// of which show message boxes.
int vel_install_mode(const std::wstring& cmd_line);

}  // namespace vel

#endif  // VEL_PROCESS_VELINSTALLMODE_H_
