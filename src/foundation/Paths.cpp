#include "foundation/Paths.h"

#include <shlobj.h>

#include <utility>

#include "foundation/Environment.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"
#include "log/VelLog.h"
#include "sync/LastErrorKeeper.h"
#include "sync/OnceGuard.h"
#include "sync/ProcAddress.h"

namespace vel {
namespace {

// "C:\" is the shortest directory that the system can give.
constexpr UINT kShortestDirectory = 3;
constexpr wchar_t kShellFoldersKey[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
constexpr wchar_t kUninstallKeys[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr wchar_t kWow64Folder[] = L"WOW64\\";

bool is_directory_length(UINT length) {
  return length >= kShortestDirectory && length < MAX_PATH;
}

std::wstring machine_setting(const wchar_t* name) {
  return RegGetString(HKEY_LOCAL_MACHINE, kProductKey, name, kRegViewDefault);
}

std::wstring user_library_directory() {
  const HMODULE module = GetModuleHandleW(L"VELUL.dll");
  return module == nullptr ? std::wstring() : directory_of(module_path(module));
}

std::wstring find_install_path() {
  std::wstring path = machine_setting(L"InstallPath");
  if (path.empty()) path = user_library_directory();
  if (path.empty()) {
    path = RegGetString(HKEY_LOCAL_MACHINE,
                        std::wstring(kUninstallKeys) + kUninstallKeyName,
                        L"InstallLocation", kRegViewDefault);
  }
  if (path.empty()) {
    path = RegGetString(HKEY_CURRENT_USER, kProductKey, L"InstallPath",
                        kRegViewDefault);
  }
  return path;
}

std::wstring shell_folder(int id) {
  wchar_t buffer[MAX_PATH] = {};
  return SHGetSpecialFolderPathW(nullptr, buffer, id, TRUE) ? buffer : L"";
}

// A value of the user's key of shell folders.
std::wstring shell_folder_value(const wchar_t* name) {
  return RegGetString(HKEY_CURRENT_USER, kShellFoldersKey, name,
                      kRegViewDefault)
      .substr(0, MAX_PATH);
}

std::wstring favorites_folder() {
  std::wstring path = shell_folder_value(L"Favorites");
  if (!path.empty()) make_directories(with_slash(path));
  return path;
}

std::wstring find_special_folder(int id) {
  switch (id) {
    case kFolderProfile:
      return get_env(L"USERPROFILE");
    case kFolderLocalSettings:
      return shell_folder_value(L"Local Settings");
    case kFolderAllUsersProfile:
      return get_env(L"ALLUSERSPROFILE");
    case kFolderTemp:
      return get_env(L"TEMP");
    case CSIDL_FAVORITES:
      return favorites_folder();
    default:
      return shell_folder(id);
  }
}

template <typename Fn>
Fn kernel_function(const char* name) {
  return proc_address<Fn>(GetModuleHandleW(L"kernel32.dll"), name);
}

bool is_file(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool has_drive(const std::wstring& path) {
  return path.size() > 1 && path[1] == L':';
}

}  // namespace

std::wstring install_path() {
  LastErrorKeeper keeper;
  return without_slash(find_install_path());
}

std::wstring windows_directory() {
  LastErrorKeeper keeper;
  wchar_t buffer[MAX_PATH] = {};
  if (!is_directory_length(GetWindowsDirectoryW(buffer, MAX_PATH))) {
    return L"C:";
  }
  return without_slash(buffer);
}

std::wstring temp_directory() {
  LastErrorKeeper keeper;
  wchar_t buffer[MAX_PATH] = {};
  if (is_directory_length(GetTempPathW(MAX_PATH, buffer))) {
    return without_slash(buffer);
  }
  constexpr wchar_t kLastResort[] = L"C:\\VelTmp";
  CreateDirectoryW(kLastResort, nullptr);
  return kLastResort;
}

std::wstring product_directory() {
  std::wstring directory = with_slash(get_env(L"VELDIR"));
  return directory.empty() ? directory_of(module_path(nullptr)) : directory;
}

std::wstring app_data_directory() {
  LastErrorKeeper keeper;
  std::wstring base = process_env(L"APPDATA");
  if (base.empty()) base = shell_folder(CSIDL_APPDATA);
  if (base.empty()) base = L"C:\\VelAppData";
  std::wstring directory = with_slash(base) + kDataFolder + brand() + L"\\";
  make_directories(directory);
  return directory;
}

std::wstring product_executable() {
  std::wstring path = machine_setting(L"ProductExecutable");
  if (path.empty()) path = kProductExecutableName;
  if (path.front() == L'\\' || has_drive(path)) return path;
  return get_env(L"VELDIR") + L"\\" + path;
}

std::wstring brand() {
  const std::wstring name = machine_setting(L"Brand");
  return name.empty() ? L"VEL" : name;
}

std::wstring component_path(const std::wstring& name) {
  LastErrorKeeper keeper;
  std::wstring redirected =
      RegGetString(HKEY_LOCAL_MACHINE,
                   std::wstring(kProductKeyPrefix) + L"ComponentRedirect",
                   file_name_of(name), kRegViewDefault);
  if (!redirected.empty() && is_file(redirected)) return redirected;
  return product_directory() + name;
}

std::wstring GetWow64ModulePath(const std::wstring& path) {
  const std::wstring root = with_slash(get_env(L"VELDIR"));
  if (!root.empty() && StartsWithNoCase(path, root)) {
    return std::wstring(path).insert(root.size(), kWow64Folder);
  }
  if (!has_drive(path) || path.size() <= 2) return root + kWow64Folder + path;
  std::wstring result = directory_of(path) + kWow64Folder + file_name_of(path);
  VelLog_Print(kLogWarning,
               L"GetWow64ModulePath('%s') - not in velroot='%s', defaulted to "
               L"'%s' ",
               path.c_str(), root.c_str(), result.c_str());
  return result;
}

bool is_wow64_process(HANDLE process) {
  using Function = BOOL(WINAPI*)(HANDLE, BOOL*);
  LastErrorKeeper keeper;
  const Function function =
      once_static([] { return kernel_function<Function>("IsWow64Process"); });
  BOOL is_wow64 = FALSE;
  return function != nullptr && function(process, &is_wow64) && is_wow64;
}

std::wstring wow64_system_directory() {
  using Function = UINT(WINAPI*)(LPWSTR, UINT);
  LastErrorKeeper keeper;
  const Function function = once_static(
      [] { return kernel_function<Function>("GetSystemWow64DirectoryW"); });
  if (function == nullptr) return {};
  wchar_t buffer[MAX_PATH] = {};
  const UINT length = function(buffer, MAX_PATH);
  return length < MAX_PATH ? std::wstring(buffer, length) : std::wstring();
}

std::wstring special_folder(int id, bool slash) {
  LastErrorKeeper keeper;
  std::wstring path = find_special_folder(id);
  return slash ? with_slash(std::move(path)) : without_slash(std::move(path));
}

}  // namespace vel
