#include "security/RestrictedAccount.h"

#include "foundation/NotBuilt.h"

namespace vel {

void init_group(bool) {
  report_not_built("init_group");
}

}  // namespace vel
