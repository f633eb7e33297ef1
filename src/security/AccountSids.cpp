#include "security/AccountSids.h"

#include <vector>

#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"
#include "security/Tokens.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constexpr DWORD kNameCapacity = 260;

constinit VelFastMutex accounts_lock;
// A TOKEN_USER with the SID that it points to.
constinit std::vector<BYTE> current_user VEL_GUARDED_BY(accounts_lock);
constinit std::vector<BYTE> restricted_group VEL_GUARDED_BY(accounts_lock);

std::vector<BYTE> ReadCurrentUser() {
  HANDLE raw_token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw_token)) {
    VelLog_Print(kLogWarning, L"LookupSidCurrentUser: OpenProcessToken: %u",
                 GetLastError());
    return {};
  }
  const ScopedHandle token(raw_token);
  std::vector<BYTE> user =
      ReadTokenInformation(token.get(), TokenUser, kAskForSize);
  if (user.empty()) {
    VelLog_Print(kLogWarning, L"LookupSidCurrentUser: GetTokenInformation: %u",
                 GetLastError());
  }
  return user;
}

// `sid` is empty to ask for the size.
bool LookupGroup(const wchar_t* system, std::vector<BYTE>& sid, DWORD& size) {
  wchar_t domain[kNameCapacity];
  DWORD domain_size = kNameCapacity;
  SID_NAME_USE use = SidTypeUnknown;
  return LookupAccountNameW(system, kRestrictedGroup, sid.data(), &size, domain,
                            &domain_size, &use) != 0;
}

std::vector<BYTE> LookupGroupByName() {
  // With the machine's name the lookup doesn't wander to a domain.
  wchar_t computer[kNameCapacity];
  DWORD length = kNameCapacity;
  const wchar_t* system =
      GetComputerNameW(computer, &length) ? computer : nullptr;
  std::vector<BYTE> sid;
  DWORD size = 0;
  LookupGroup(system, sid, size);
  if (size == 0) return {};
  sid.resize(size);
  if (!LookupGroup(system, sid, size)) sid.clear();
  return sid;
}

std::vector<BYTE> ReadRestrictedGroup() {
  std::vector<BYTE> sid =
      RegGetBinary(HKEY_LOCAL_MACHINE, kProductKey, kRestrictedGroupSidValue,
                   kRegViewDefault);
  return sid.empty() ? LookupGroupByName() : sid;
}

}  // namespace

PSID LookupSidCurrentUser() {
  const VelFastMutex::Scope scope(accounts_lock);
  if (current_user.empty()) {
    const LastErrorKeeper keeper;
    current_user = ReadCurrentUser();
    if (current_user.empty()) return nullptr;
  }
  return reinterpret_cast<const TOKEN_USER*>(current_user.data())->User.Sid;
}

PSID LookupSidVel() {
  const VelFastMutex::Scope scope(accounts_lock);
  if (restricted_group.empty()) {
    const LastErrorKeeper keeper;
    restricted_group = ReadRestrictedGroup();
    if (restricted_group.empty()) return nullptr;
  }
  return restricted_group.data();
}

}  // namespace vel
