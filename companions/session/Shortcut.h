// Shell links (.lnk).
#ifndef VEL_COMPANIONS_SESSION_SHORTCUT_H_
#define VEL_COMPANIONS_SESSION_SHORTCUT_H_

#include <windows.h>

#include <string>

namespace velul {

struct Shortcut {
  std::wstring file;
  std::wstring parameters;
  std::wstring directory;
};

// Reads the link at `path`. A system error code; `shortcut` is filled on
// success only. A link to something that is no file has no target here:
// ERROR_NO_ASSOCIATION. COM is set up on the thread for the time of the call.
DWORD read_shortcut(const std::wstring& path, Shortcut* shortcut);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_SHORTCUT_H_
