#include "process/VersionState.h"

#include <windows.h>

#include "foundation/DirectoryTree.h"
#include "foundation/Environment.h"
#include "foundation/Paths.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"
#include "process/ProcessState.h"
#include "process/VersionMarker.h"
#include "security/RestrictedAccount.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\VersionState";
constexpr wchar_t kMarkerFile[] = L".version";

// The broadcast queue's thread may commit while the process's end does.
constinit VelFastMutex commit_lock;

void sweep(const std::wstring& directory) {
  // An empty path would name the root of the current drive.
  if (!directory.empty()) delete_tree(directory, *version_marker);
}

}  // namespace

void init_version_state() {
  version_marker = new VersionMarker(file_version(module_path(nullptr)),
                                     app_data_directory() + kMarkerFile);
  const bool changed = version_marker->changed();
  if (changed && !guest_mode) {
    RegSetString(HKEY_CURRENT_USER, kProductKey, L"InstalledVersion",
                 version_marker->current(), kRegViewDefault);
  }
  sweep(expand_env(L"%APPDATA%\\TC", true));
  sweep(without_slash(app_data_directory()));
  if (!guest_mode) init_group(changed);
}

void commit_version() {
  if (!version_marker) return;
  const VelFastMutex::Scope scope(commit_lock);
  if (!version_marker->Commit()) VEL_LOG_WIN32_CALL();
}

}  // namespace vel
