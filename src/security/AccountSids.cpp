#include "security/AccountSids.h"

#include <memory>
#include <utility>
#include <vector>

#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"
#include "security/KeptUntilExit.h"
#include "security/Tokens.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constexpr DWORD kNameCapacity = 260;

using Bytes = std::vector<BYTE>;

constinit VelFastMutex accounts_lock;
// A TOKEN_USER with the SID that it points to.
constinit Kept<Bytes> current_user VEL_GUARDED_BY(accounts_lock);
constinit Kept<Bytes> restricted_group VEL_GUARDED_BY(accounts_lock);
const FreeAtExit free_accounts(accounts_lock, current_user, restricted_group);

Bytes ReadCurrentUser() {
  HANDLE raw_token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw_token)) {
    VelLog_Print(kLogWarning, L"LookupSidCurrentUser: OpenProcessToken: %u",
                 GetLastError());
    return {};
  }
  const ScopedHandle token(raw_token);
  Bytes user = ReadTokenInformation(token.get(), TokenUser, kAskForSize);
  if (user.empty()) {
    VelLog_Print(kLogWarning, L"LookupSidCurrentUser: GetTokenInformation: %u",
                 GetLastError());
  }
  return user;
}

// `sid` is empty to ask for the size.
bool LookupGroup(const wchar_t* system, Bytes& sid, DWORD& size) {
  wchar_t domain[kNameCapacity];
  DWORD domain_size = kNameCapacity;
  SID_NAME_USE use = SidTypeUnknown;
  return LookupAccountNameW(system, kRestrictedGroup, sid.data(), &size, domain,
                            &domain_size, &use) != 0;
}

Bytes LookupGroupByName() {
  // With the machine's name the lookup doesn't wander to a domain.
  wchar_t computer[kNameCapacity];
  DWORD length = kNameCapacity;
  const wchar_t* system =
      GetComputerNameW(computer, &length) ? computer : nullptr;
  Bytes sid;
  DWORD size = 0;
  LookupGroup(system, sid, size);
  if (size == 0) return {};
  sid.resize(size);
  if (!LookupGroup(system, sid, size)) sid.clear();
  return sid;
}

// Whether the bytes are a SID, whole. Anybody who may write the machine's
// registry may have put them there.
bool is_sid(Bytes& bytes) {
  const PSID sid = bytes.data();
  return bytes.size() >= GetSidLengthRequired(0) && IsValidSid(sid) &&
         GetLengthSid(sid) <= bytes.size();
}

Bytes ReadRestrictedGroup() {
  Bytes sid = RegGetBinary(HKEY_LOCAL_MACHINE, kProductKey,
                           kRestrictedGroupSidValue, kRegViewDefault);
  return is_sid(sid) ? sid : LookupGroupByName();
}

// What `kept` holds, read if need be; null when there is nothing to read.
Bytes* Need(Kept<Bytes>& kept, Bytes (*read)()) {
  if (kept.get() != nullptr) return kept.get();
  const LastErrorKeeper keeper;
  auto made = std::make_unique<Bytes>(read());
  return made->empty() ? nullptr : kept.keep(std::move(made));
}

}  // namespace

PSID LookupSidCurrentUser() {
  const VelFastMutex::Scope scope(accounts_lock);
  const Bytes* const user = Need(current_user, &ReadCurrentUser);
  if (user == nullptr) return nullptr;
  return reinterpret_cast<const TOKEN_USER*>(user->data())->User.Sid;
}

PSID LookupSidVel() {
  const VelFastMutex::Scope scope(accounts_lock);
  Bytes* const group = Need(restricted_group, &ReadRestrictedGroup);
  return group == nullptr ? nullptr : group->data();
}

}  // namespace vel
