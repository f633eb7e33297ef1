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

// The steps of an install run, to be replaced where the machine mustn't change.
// One that throws has failed, and the next is taken.
struct VelInstallSteps {
  bool (*tray_is_running)();
  bool (*end_tray)();
  bool (*send_report)(const wchar_t* reason);
  bool (*create_group)();
  bool (*delete_account)();
  bool (*delete_old_service)();
  void (*install_service)();
  void (*uninstall_service)();
  void (*restore_download_ui)();
  void (*restore_search)();
  void (*restore_start_page)();
  void (*delete_search_feature)();
  void (*update_extensions)();
  void (*set_pending)(bool pending);
};
int vel_install_mode_with(const VelInstallSteps& steps,
                          const std::wstring& cmd_line);

// Takes the product's download handler out of Internet Explorer, in favour of
// the one that was there before. A handler that the user has chosen since
// stays.
void restore_ie_download_ui();

}  // namespace vel

#endif  // VEL_PROCESS_VELINSTALLMODE_H_
