// The companions have no log: what nobody can be told of otherwise goes to the
// debugger's output.
#ifndef VEL_COMPANIONS_COMMON_DEBUGREPORT_H_
#define VEL_COMPANIONS_COMMON_DEBUGREPORT_H_

#include <windows.h>

#include <cwchar>

namespace companion {

// Writes "VEL <library>: <what> failed, error <error>". Keeps the last error.
inline void debug_report(const wchar_t* library, const wchar_t* what,
                         DWORD error) {
  const DWORD last_error = GetLastError();
  wchar_t line[256];
  _snwprintf(line, 255, L"VEL %s: %s failed, error %u\n", library, what, error);
  line[255] = L'\0';
  OutputDebugStringW(line);
  SetLastError(last_error);
}

}  // namespace companion

#endif  // VEL_COMPANIONS_COMMON_DEBUGREPORT_H_
