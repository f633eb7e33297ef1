#include "security/ObjectSecurity.h"

#include <aclapi.h>

#include <vector>

#include "log/VelLog.h"
#include "security/LocalMemory.h"
#include "security/LowLabel.h"
#include "security/Tokens.h"
#include "security/WellKnownSids.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\ObjectSecurity";
constexpr DWORD kListBlock = 128;

}  // namespace

void SetObjectSecurityEveryone(HANDLE handle, DWORD mask) {
  const PSID everyone = LookupSidEveryone();
  if (everyone == nullptr) return;
  // The entry in it holds words of 32 bits.
  alignas(DWORD) BYTE block[kListBlock] = {};
  ACL* const acl = reinterpret_cast<ACL*>(block);
  SECURITY_DESCRIPTOR descriptor = {};
  if (!InitializeAcl(acl, kListBlock, ACL_REVISION)) VEL_LOG_WIN32_CALL();
  if (!AddAccessAllowedAce(acl, ACL_REVISION, mask, everyone)) {
    VEL_LOG_WIN32_CALL();
  }
  if (!InitializeSecurityDescriptor(&descriptor,
                                    SECURITY_DESCRIPTOR_REVISION)) {
    VEL_LOG_WIN32_CALL();
  }
  if (!SetSecurityDescriptorDacl(&descriptor, TRUE, acl, FALSE)) {
    VEL_LOG_WIN32_CALL();
  }
  if (!SetKernelObjectSecurity(handle, DACL_SECURITY_INFORMATION,
                               &descriptor)) {
    VEL_LOG_WIN32_CALL();
  }
  SetLowLabel(SE_KERNEL_OBJECT, handle);
}

bool SetObjectDefaultDacl(HANDLE handle, HANDLE token) {
  ScopedHandle own_token;
  if (token == nullptr) {
    own_token = OpenCurrentToken();
    if (!own_token) return false;
    token = own_token.get();
  }
  const std::vector<BYTE> information =
      ReadTokenInformation(token, TokenDefaultDacl, kReadAtOnce);
  if (information.empty()) return false;
  ACL* const dacl =
      reinterpret_cast<const TOKEN_DEFAULT_DACL*>(information.data())
          ->DefaultDacl;
  if (dacl == nullptr) {
    SetLastError(ERROR_NO_SECURITY_ON_OBJECT);
    return false;
  }
  SECURITY_DESCRIPTOR descriptor = {};
  return InitializeSecurityDescriptor(&descriptor,
                                      SECURITY_DESCRIPTOR_REVISION) &&
         SetSecurityDescriptorDacl(&descriptor, TRUE, dacl, FALSE) &&
         SetKernelObjectSecurity(handle, DACL_SECURITY_INFORMATION,
                                 &descriptor);
}

bool IsOwnedByToken(HANDLE handle, HANDLE token) {
  const std::vector<BYTE> user =
      ReadTokenInformation(token, TokenUser, kReadAtOnce);
  if (user.empty()) return false;
  const std::vector<BYTE> owner =
      ReadTokenInformation(token, TokenOwner, kReadAtOnce);
  if (owner.empty()) return false;
  PSID object_owner = nullptr;
  ScopedDescriptor descriptor;
  const DWORD error = GetSecurityInfo(
      handle, SE_KERNEL_OBJECT, OWNER_SECURITY_INFORMATION, &object_owner,
      nullptr, nullptr, nullptr, descriptor.put());
  if (error != ERROR_SUCCESS) {
    SetLastError(error);
    return false;
  }
  const PSID user_sid =
      reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid;
  const PSID owner_sid =
      reinterpret_cast<const TOKEN_OWNER*>(owner.data())->Owner;
  if (object_owner != nullptr &&
      (EqualSid(object_owner, user_sid) || EqualSid(object_owner, owner_sid))) {
    return true;
  }
  SetLastError(ERROR_INVALID_OWNER);
  return false;
}

}  // namespace vel
