#include "browser/FireFoxHacks.h"

#include <ctime>

#include "foundation/NotBuilt.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"

namespace vel {

void NeedUpdateExtensions() {
  const auto now = static_cast<std::uint64_t>(_time64(nullptr));
  RegSetQword(HKEY_LOCAL_MACHINE, kProductKey, L"FireFoxExtUpdTS64", now);
  VelLog_Print(kLogTrace, L"NeedUpdateExtensions: need_ts=0x%I64x", now);
}

void CheckForUpdateExtensions() {
  report_not_built("CheckForUpdateExtensions");
}

}  // namespace vel
