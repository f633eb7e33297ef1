#include "security/VelUtilsSecurity.h"

#include <windows.h>

#include "sync/ScopedHandle.h"

namespace vel {

bool EnableDebugPrivilege() {
  HANDLE raw_token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &raw_token)) {
    return false;
  }
  const ScopedHandle token(raw_token);
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!LookupPrivilegeValueW(nullptr, SE_DEBUG_NAME,
                             &privileges.Privileges[0].Luid)) {
    return false;
  }
  SetLastError(ERROR_SUCCESS);
  AdjustTokenPrivileges(token.get(), FALSE, &privileges, 0, nullptr, nullptr);
  // The call succeeds even when it assigned nothing: only the last error tells.
  return GetLastError() == ERROR_SUCCESS;
}

}  // namespace vel
