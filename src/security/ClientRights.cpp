#include "security/ClientRights.h"

#include <vector>

#include "security/AccountSids.h"
#include "security/Tokens.h"
#include "security/WellKnownSids.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

// Enough for every user, so that one look does.
constexpr TokenReadSizes kUserSizes = {
    sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE, 0};

bool are_equal(PSID one, PSID other) {
  return one != nullptr && other != nullptr && EqualSid(one, other);
}

}  // namespace

bool SidMayActFor(PSID who, PSID user) {
  return are_equal(who, user) || are_equal(who, LookupSidSystem());
}

bool TokenMayActFor(HANDLE token, PSID user) {
  const std::vector<BYTE> read =
      ReadTokenInformation(token, TokenUser, kUserSizes);
  if (read.empty()) return false;
  const PSID who = reinterpret_cast<const TOKEN_USER*>(read.data())->User.Sid;
  if (SidMayActFor(who, user) ||
      TokenHasGroup(token, LookupSidAdministrators())) {
    return true;
  }
  SetLastError(ERROR_ACCESS_DENIED);
  return false;
}

bool ImpersonatedMayActForProcess() {
  const ScopedHandle token = OpenThreadTokenQuery(GetCurrentThread());
  return token && TokenMayActFor(token.get(), LookupSidCurrentUser());
}

}  // namespace vel
