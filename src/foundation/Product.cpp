#include "foundation/Product.h"

#include "foundation/Registry.h"

namespace vel {

bool is_corporate_deployment() {
  return RegGetDword(HKEY_LOCAL_MACHINE, kProductKey, L"CorporateDeployment", 0,
                     kRegViewDefault) != 0;
}

}  // namespace vel
