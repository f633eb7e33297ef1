#include "security/Descriptors.h"

#include <memory>
#include <utility>
#include <vector>

#include "security/Acls.h"
#include "security/KeptUntilExit.h"
#include "security/LowLabel.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constexpr DWORD kDescriptorBlock = 4096;
constexpr DWORD kPartBlock = 256;
constexpr DWORD kSlack = 128;

using Block = std::vector<BYTE>;

// A descriptor in absolute form, and what it points to when it was made of a
// self-relative one.
struct Descriptor {
  Block block;
  Block dacl;
  Block sacl;
  Block owner;
  Block group;
};

constinit VelFastMutex low_lock;
constinit Kept<Descriptor> user_low VEL_GUARDED_BY(low_lock);
const FreeAtExit free_low(low_lock, user_low);

constinit VelFastMutex plain_lock;
constinit Kept<Descriptor> user_plain VEL_GUARDED_BY(plain_lock);
constinit Kept<Descriptor> system_plain VEL_GUARDED_BY(plain_lock);
const FreeAtExit free_plain(plain_lock, user_plain, system_plain);

// The sizes of the blocks go in, those that the system wants come out.
struct BlockSizes {
  DWORD block = kDescriptorBlock;
  DWORD dacl = kPartBlock;
  DWORD sacl = kPartBlock;
  DWORD owner = kPartBlock;
  DWORD group = kPartBlock;
};

bool make_absolute(PSECURITY_DESCRIPTOR source, Descriptor& made,
                   BlockSizes& sizes) {
  made.block.resize(sizes.block);
  made.dacl.resize(sizes.dacl);
  made.sacl.resize(sizes.sacl);
  made.owner.resize(sizes.owner);
  made.group.resize(sizes.group);
  return MakeAbsoluteSD(source, made.block.data(), &sizes.block,
                        reinterpret_cast<ACL*>(made.dacl.data()), &sizes.dacl,
                        reinterpret_cast<ACL*>(made.sacl.data()), &sizes.sacl,
                        made.owner.data(), &sizes.owner, made.group.data(),
                        &sizes.group) != 0;
}

bool make_labelled(Descriptor& made) {
  const PSECURITY_DESCRIPTOR label = GetLowLabelDescriptor();
  if (label == nullptr) return false;
  BlockSizes sizes;
  if (make_absolute(label, made, sizes)) return true;
  for (DWORD* size :
       {&sizes.block, &sizes.dacl, &sizes.sacl, &sizes.owner, &sizes.group}) {
    *size += kSlack;
  }
  return make_absolute(label, made, sizes);
}

bool make_plain(Descriptor& made) {
  made.block.assign(kDescriptorBlock, 0);
  return InitializeSecurityDescriptor(made.block.data(),
                                      SECURITY_DESCRIPTOR_REVISION) != 0;
}

// The descriptor in `kept`, made unless it is there. One with a null list would
// let everyone in, so none is made then.
PSECURITY_DESCRIPTOR need(Kept<Descriptor>& kept, bool labelled,
                          ACL* (*list)()) {
  if (kept.get() != nullptr) return kept.get()->block.data();
  const LastErrorKeeper keeper;
  auto made = std::make_unique<Descriptor>();
  if (!(labelled && make_labelled(*made)) && !make_plain(*made)) return nullptr;
  ACL* const dacl = list();
  if (dacl == nullptr ||
      !SetSecurityDescriptorDacl(made->block.data(), TRUE, dacl, FALSE)) {
    return nullptr;
  }
  return kept.keep(std::move(made))->block.data();
}

}  // namespace

PSECURITY_DESCRIPTOR GetSecurityDescriptorUserLow() {
  const VelFastMutex::Scope scope(low_lock);
  return need(user_low, true, &DaclUser);
}

PSECURITY_DESCRIPTOR GetSecurityDescriptorUser() {
  const VelFastMutex::Scope scope(plain_lock);
  return need(user_plain, false, &DaclUser);
}

PSECURITY_DESCRIPTOR GetSecurityDescriptorSystem() {
  const VelFastMutex::Scope scope(plain_lock);
  return need(system_plain, false, &DaclSystem);
}

}  // namespace vel
