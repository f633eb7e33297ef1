// Where things are: the product, the system's directories, the user's folders.
//
// Each call looks anew. The functions fall back along the orders told below and
// end in an empty string or a fixed place; none reports an error, and the
// thread's last error is kept. No state, any thread.
#ifndef VEL_FOUNDATION_PATHS_H_
#define VEL_FOUNDATION_PATHS_H_

#include <windows.h>

#include <string>

#include "foundation/ModuleFile.h"
#include "foundation/PathParts.h"

namespace vel {

// Folder ids of special_folder beyond the shell's CSIDL_ numbers. The first
// replaces the shell's folder of that number.
inline constexpr int kFolderProfile = 40;
inline constexpr int kFolderLocalSettings = 65521;
inline constexpr int kFolderAllUsersProfile = 65522;
inline constexpr int kFolderTemp = 65523;

// The product's directory as it was installed, without a slash: the machine's
// `InstallPath`, the directory of the loaded VELUL.dll, the `InstallLocation`
// of the uninstall key, the user's `InstallPath`, or empty.
std::wstring install_path();
// Windows' own directory without a slash, or "C:".
std::wstring windows_directory();
// The temporary directory without a slash, or "C:\VelTmp", which is created.
std::wstring temp_directory();
// The product's directory with a slash: VELDIR, or that of the process's file.
std::wstring product_directory();
// The product's directory in the user's application data, with a slash. It is
// created with its parents.
std::wstring app_data_directory();
// The full path of the product's main program.
std::wstring product_executable();
// The brand, "VEL" if the machine has no other.
std::wstring brand();

// The full path of a file that ships with the product, such as L"VELUL.dll":
// the place that the machine's `ComponentRedirect` key names for it when that
// file exists, else the name in product_directory().
std::wstring component_path(const std::wstring& name);

// The next three are for the system's other programs.

// The same path in the subdirectory of the 32-bit files, WOW64.
std::wstring GetWow64ModulePath(const std::wstring& path);
// Whether a process runs in the 32-bit subsystem; false if that can't be told.
// The handle needs PROCESS_QUERY_INFORMATION.
bool is_wow64_process(HANDLE process);
// The 32-bit system directory without a slash, or empty.
std::wstring wow64_system_directory();

// A folder of the shell by its CSIDL_ number, or one of the ids above; empty if
// it isn't known. The shell's folders are created if need be, and so is the
// favourites folder (6). `slash` tells whether the result ends in a backslash.
std::wstring special_folder(int id, bool slash);

}  // namespace vel

#endif  // VEL_FOUNDATION_PATHS_H_
