#include "security/RestrictedAccount.h"

#include "foundation/NotBuilt.h"

namespace vel {

bool create_group() {
  report_not_built("create_group");
  return false;
}

bool delete_account() {
  report_not_built("delete_account");
  return false;
}

bool delete_old_service() {
  report_not_built("delete_old_service");
  return false;
}

void init_group(bool) {
  report_not_built("init_group");
}

}  // namespace vel
