#include "security/LowLabel.h"

#include <aclapi.h>

#include <cstddef>

namespace vel {
namespace {

constexpr DWORD kFirstVersionWithLabels = 6;

// The descriptor as it lies in memory.
struct LowLabelImage {
  SECURITY_DESCRIPTOR_RELATIVE descriptor;
  ACL sacl;
  ACE_HEADER entry;
  ACCESS_MASK mask;
  SID sid;
};
static_assert(offsetof(LowLabelImage, sacl) == 0x14);
static_assert(sizeof(LowLabelImage) - offsetof(LowLabelImage, sacl) == 0x1C);
static_assert(sizeof(LowLabelImage) - offsetof(LowLabelImage, entry) == 0x14);

constexpr LowLabelImage kLowLabel = {
    {SECURITY_DESCRIPTOR_REVISION, 0, SE_SELF_RELATIVE | SE_SACL_PRESENT, 0, 0,
     offsetof(LowLabelImage, sacl), 0},
    {ACL_REVISION, 0, sizeof(LowLabelImage) - offsetof(LowLabelImage, sacl), 1,
     0},
    {SYSTEM_MANDATORY_LABEL_ACE_TYPE, 0,
     sizeof(LowLabelImage) - offsetof(LowLabelImage, entry)},
    SYSTEM_MANDATORY_LABEL_NO_WRITE_UP,
    {SID_REVISION,
     1,
     SECURITY_MANDATORY_LABEL_AUTHORITY,
     {SECURITY_MANDATORY_LOW_RID}},
};

}  // namespace

PSECURITY_DESCRIPTOR GetLowLabelDescriptor() {
  if (LOBYTE(GetVersion()) < kFirstVersionWithLabels) return nullptr;
  return const_cast<LowLabelImage*>(&kLowLabel);
}

void SetLowLabel(SE_OBJECT_TYPE object_type, HANDLE handle) {
  const PSECURITY_DESCRIPTOR label = GetLowLabelDescriptor();
  if (label == nullptr) return;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  ACL* sacl = nullptr;
  if (!GetSecurityDescriptorSacl(label, &present, &sacl, &defaulted)) return;
  SetSecurityInfo(handle, object_type, LABEL_SECURITY_INFORMATION, nullptr,
                  nullptr, nullptr, sacl);
}

}  // namespace vel
