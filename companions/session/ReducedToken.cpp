#include "session/ReducedToken.h"

#include <cstddef>
#include <vector>

namespace velul {
namespace {

using companion::UniqueHandle;
using Bytes = std::vector<unsigned char>;

constexpr wchar_t kLowIntegrityKey[] =
    L"Software\\Tessavane\\VEL\\VELULLowIntegrity";

// A SID of one of the system's own authorities, on the stack.
struct WellKnownSid {
  alignas(SID) unsigned char bytes[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof bytes;

  bool make(WELL_KNOWN_SID_TYPE type) {
    return CreateWellKnownSid(type, nullptr, bytes, &size) != FALSE;
  }
  PSID get() { return bytes; }
};

// What GetTokenInformation says; empty with the last error.
Bytes token_information(HANDLE token, TOKEN_INFORMATION_CLASS information) {
  DWORD size = 0;
  GetTokenInformation(token, information, nullptr, 0, &size);
  Bytes result(size);
  if (!GetTokenInformation(token, information, result.data(), size, &size)) {
    result.clear();
  }
  return result;
}

DWORD integrity_of(HANDLE token) {
  Bytes label = token_information(token, TokenIntegrityLevel);
  if (label.empty()) return 0;
  const PSID sid =
      reinterpret_cast<TOKEN_MANDATORY_LABEL*>(label.data())->Label.Sid;
  return *GetSidSubAuthority(sid, *GetSidSubAuthorityCount(sid) - 1u);
}

bool set_integrity(HANDLE token, WELL_KNOWN_SID_TYPE level) {
  WellKnownSid sid;
  if (!sid.make(level)) return false;
  TOKEN_MANDATORY_LABEL label = {{sid.get(), SE_GROUP_INTEGRITY}};
  return SetTokenInformation(token, TokenIntegrityLevel, &label,
                             static_cast<DWORD>(sizeof label + sid.size));
}

bool lower_integrity(HANDLE token, bool low_integrity) {
  if (low_integrity) return set_integrity(token, WinLowLabelSid);
  return integrity_of(token) <= SECURITY_MANDATORY_MEDIUM_RID ||
         set_integrity(token, WinMediumLabelSid);
}

bool set_owner(HANDLE token, PSID user) {
  alignas(ACL) unsigned char list[sizeof(ACL) + 2 * sizeof(ACCESS_ALLOWED_ACE) +
                                  2 * SECURITY_MAX_SID_SIZE];
  const PACL acl = reinterpret_cast<PACL>(list);
  TOKEN_OWNER owner = {user};
  TOKEN_DEFAULT_DACL default_dacl = {acl};
  WellKnownSid system;
  return system.make(WinLocalSystemSid) &&
         InitializeAcl(acl, sizeof list, ACL_REVISION) &&
         AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_ALL, user) &&
         AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_ALL, system.get()) &&
         SetTokenInformation(token, TokenOwner, &owner, sizeof owner) &&
         SetTokenInformation(token, TokenDefaultDacl, &default_dacl,
                             sizeof default_dacl);
}

// An elevated token has the administrators as owner and in its default list;
// with that group for denying only, what a process makes would be closed to
// the process itself.
bool take_from_administrators(HANDLE token, PSID administrators) {
  Bytes user = token_information(token, TokenUser);
  Bytes owner = token_information(token, TokenOwner);
  if (user.empty() || owner.empty()) return false;
  return !EqualSid(reinterpret_cast<TOKEN_OWNER*>(owner.data())->Owner,
                   administrators) ||
         set_owner(token, reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid);
}

}  // namespace

UniqueHandle make_reduced_token(bool low_integrity) {
  UniqueHandle own;
  WellKnownSid administrators;
  if (!OpenProcessToken(GetCurrentProcess(),
                        TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY |
                            TOKEN_ADJUST_DEFAULT,
                        own.put()) ||
      !administrators.make(WinBuiltinAdministratorsSid)) {
    return {};
  }
  SID_AND_ATTRIBUTES deny_only = {administrators.get(), 0};
  UniqueHandle token;
  if (!CreateRestrictedToken(own.get(), DISABLE_MAX_PRIVILEGE, 1, &deny_only, 0,
                             nullptr, 0, nullptr, token.put()) ||
      !take_from_administrators(token.get(), administrators.get()) ||
      !lower_integrity(token.get(), low_integrity)) {
    return {};
  }
  return token;
}

bool wants_low_integrity(const wchar_t* config) {
  for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    DWORD value = 0;
    DWORD size = sizeof value;
    if (RegGetValueW(hive, kLowIntegrityKey, config, RRF_RT_REG_DWORD, nullptr,
                     &value, &size) == ERROR_SUCCESS) {
      return value != 0;
    }
  }
  return false;
}

}  // namespace velul
