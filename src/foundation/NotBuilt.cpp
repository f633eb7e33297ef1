#include "foundation/NotBuilt.h"

#include <windows.h>

#include "log/VelLog.h"

namespace vel {

void report_not_built(const char* name) {
  VelLog_Print(kLogWarning, L"%S: not built yet", name);
  SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
}

}  // namespace vel
