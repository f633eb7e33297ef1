// What can be asked of a loaded module and its file. The thread's last error is
// kept.
#ifndef VEL_FOUNDATION_MODULEFILE_H_
#define VEL_FOUNDATION_MODULEFILE_H_

#include <windows.h>

#include <string>

namespace vel {

// The full path of a module's file in its long form, null for the process's
// own. Empty on failure.
std::wstring module_path(HMODULE module);

// The file version in the fixed part of a file's version resource, as
// "%u.%u.%u.%u"; empty if there is none.
std::wstring file_version(const std::wstring& path);

}  // namespace vel

#endif  // VEL_FOUNDATION_MODULEFILE_H_
