#include "security/Acls.h"

#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "security/AccountSids.h"
#include "security/KeptUntilExit.h"
#include "security/WellKnownSids.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constexpr DWORD kListBlock = 1024;

using Block = std::vector<BYTE>;

constinit VelFastMutex lists_lock;
constinit Kept<Block> dacl_system VEL_GUARDED_BY(lists_lock);
constinit Kept<Block> dacl_user VEL_GUARDED_BY(lists_lock);
const FreeAtExit free_lists(lists_lock, dacl_system, dacl_user);

ACL* as_acl(Block& block) {
  return reinterpret_cast<ACL*>(block.data());
}

using SidLookup = PSID (*)();

// Makes the list unless it is there.
ACL* need_list(Kept<Block>& kept, std::initializer_list<SidLookup> lookups)
    VEL_REQUIRES(lists_lock) {
  if (kept.get() != nullptr) return as_acl(*kept.get());
  const LastErrorKeeper keeper;
  auto made = std::make_unique<Block>(kListBlock);
  if (!InitializeAcl(as_acl(*made), kListBlock, ACL_REVISION)) return nullptr;
  bool any = false;
  for (const SidLookup lookup : lookups) {
    const PSID sid = lookup();
    if (sid == nullptr) continue;
    if (AddAccessAllowedAce(as_acl(*made), ACL_REVISION, GENERIC_ALL, sid)) {
      any = true;
    }
  }
  if (!any) return nullptr;
  return as_acl(*kept.keep(std::move(made)));
}

}  // namespace

ACL* DaclSystem() {
  const VelFastMutex::Scope scope(lists_lock);
  return need_list(dacl_system, {&LookupSidSystem, &LookupSidAdministrators});
}

ACL* DaclUser() {
  const VelFastMutex::Scope scope(lists_lock);
  return need_list(dacl_user, {&LookupSidCurrentUser, &LookupSidInteractive,
                               &LookupSidLocal, &LookupSidAdministrators});
}

WORD AclUsedSize(ACL* acl) {
  if (acl == nullptr) return 0;
  WORD size = sizeof(ACL);
  // Never asked for an entry past the last: that would set the last error.
  for (DWORD i = 0; i < acl->AceCount; ++i) {
    void* entry = nullptr;
    if (!GetAce(acl, i, &entry)) break;
    size = static_cast<WORD>(size +
                             static_cast<const ACE_HEADER*>(entry)->AceSize);
  }
  return size;
}

void AclFixSize(ACL* acl) {
  if (acl != nullptr) acl->AclSize = AclUsedSize(acl);
}

}  // namespace vel
