#include "security/Acls.h"

#include <initializer_list>
#include <utility>
#include <vector>

#include "security/AccountSids.h"
#include "security/WellKnownSids.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constexpr DWORD kListBlock = 1024;

constinit VelFastMutex lists_lock;
constinit std::vector<BYTE> dacl_system VEL_GUARDED_BY(lists_lock);
constinit std::vector<BYTE> dacl_user VEL_GUARDED_BY(lists_lock);

ACL* as_acl(std::vector<BYTE>& block) {
  return reinterpret_cast<ACL*>(block.data());
}

using SidLookup = PSID (*)();

// Makes the list unless it is there. An empty block stands for none.
ACL* need_list(std::vector<BYTE>& block,
               std::initializer_list<SidLookup> lookups)
    VEL_REQUIRES(lists_lock) {
  if (!block.empty()) return as_acl(block);
  const LastErrorKeeper keeper;
  std::vector<BYTE> made(kListBlock);
  if (!InitializeAcl(as_acl(made), kListBlock, ACL_REVISION)) return nullptr;
  bool any = false;
  for (const SidLookup lookup : lookups) {
    const PSID sid = lookup();
    if (sid == nullptr) continue;
    if (AddAccessAllowedAce(as_acl(made), ACL_REVISION, GENERIC_ALL, sid)) {
      any = true;
    }
  }
  if (!any) return nullptr;
  block = std::move(made);
  return as_acl(block);
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
