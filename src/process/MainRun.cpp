#include "process/MainRun.h"

#include <windows.h>
#include <objbase.h>
#include <shlobj.h>

#include "foundation/CommandLine.h"
#include "foundation/Environment.h"
#include "foundation/Paths.h"
#include "foundation/Product.h"
#include "log/VelLog.h"
#include "process/ProcessState.h"
#include "process/StartupTrim.h"
#include "process/VersionState.h"
#include "proptree/DwlSources.h"
#include "sessions/OwnerCallback.h"
#include "sessions/UserLibrary.h"
#include "sync/ScopedHandle.h"
#include "tray/EntryHooks.h"
#include "tray/TrayMenuHolder.h"
#include "usage/UsageMonitor.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\MainRun";
constexpr UINT kTrimDelayMs = 60000;

// COM for the calling thread, for the length of the scope.
class [[nodiscard]] ComScope {
 public:
  [[nodiscard]] ComScope() : _result(CoInitialize(nullptr)) {
    if (FAILED(_result)) VEL_LOG_HR_CALL(_result);
  }
  ~ComScope() {
    if (SUCCEEDED(_result)) CoUninitialize();
  }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;

 private:
  const HRESULT _result;
};

// The settings a user has just confirmed belong to the version that runs.
class CommitOnSettingsChange : public OwnerCallback {
 public:
  void on_settings_changed() override { commit_version(); }
};

void create_shared_files_folder() {
  const std::wstring documents = special_folder(CSIDL_PERSONAL, true);
  // A user without a documents folder gets none in the current directory.
  if (documents.empty()) return;
  make_directories(with_slash(documents + (is_corporate_deployment()
                                               ? L"Quillfort Shared Files"
                                               : L"Brindlemar Shared Files")));
}

bool is_key_down(int key) {
  return GetAsyncKeyState(key) < 0;
}

// Tells a caller who waits for the tray that it is up.
void signal_event(const std::wstring& name) {
  const ScopedHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str()));
  if (!event) {
    VelLog_Print(kLogWarning, L"Can't open set_event '%s' - le=%u",
                 name.c_str(), GetLastError());
    return;
  }
  SetEvent(event.get());
}

void run_message_loop() {
  StartupTrim trim(kTrimDelayMs);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    trim.OnMessage(message);
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

}  // namespace

void vel_main_init() {
  if (started.exchange(true)) return;
  create_shared_files_folder();
  // This one and the session libraries below stay for the process's life.
  LoadLibraryW(L"wininet.dll");
  verbose_log_on_hotkey();
  if (!guest_mode) EnableUsageMonitoring();
  load_vel_ul();
  load_vel_ul_min();
}

void vel_main_term() {
  if (!started.exchange(false)) return;
  DisableUsageMonitoring();
  DeleteDownloadSources();
  commit_version();
}

void vel_main_run(const std::wstring& cmd_line) {
  const ComScope com;
  CommitOnSettingsChange callback;
  TrayMenuHolder tray(&callback);
  tray.process_runcmd(cmd_line);
  const std::wstring event = get_param(cmd_line, L"set_event");
  if (!event.empty()) signal_event(event);
  run_message_loop();
}

void verbose_log_on_hotkey() {
  if (is_key_down(VK_SHIFT) && is_key_down(VK_CONTROL) &&
      get_env(L"VELLOG").empty()) {
    set_env(L"VELLOG", L"0", true);
  }
}

}  // namespace vel
