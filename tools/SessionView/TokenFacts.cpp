#include "SessionView/TokenFacts.h"

#include <sddl.h>

#include <algorithm>
#include <optional>

#include "foundation/Text.h"
#include "security/LocalMemory.h"
#include "security/Tokens.h"
#include "security/WellKnownSids.h"
#include "sync/ScopedHandle.h"

namespace sessionview {
namespace {

using Names = std::vector<std::wstring>;

// One class of a token's information; null where the system doesn't give it.
template <class Information>
class TokenInformation {
 public:
  TokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind)
      : _bytes(vel::ReadTokenInformation(token, kind, vel::kReadAtOnce)) {}
  explicit operator bool() const { return !_bytes.empty(); }
  const Information& operator*() const {
    return *reinterpret_cast<const Information*>(_bytes.data());
  }
  const Information* operator->() const { return &**this; }

 private:
  const std::vector<BYTE> _bytes;
};

std::wstring sid_text(PSID sid) {
  vel::ScopedSidText text;
  return ConvertSidToStringSidW(sid, text.put()) ? text.get() : L"";
}

// The account's name with the SID behind it, or the SID alone.
std::wstring account_text(PSID sid) {
  wchar_t name[256];
  wchar_t domain[256];
  DWORD name_size = ARRAYSIZE(name);
  DWORD domain_size = ARRAYSIZE(domain);
  SID_NAME_USE use = {};
  std::wstring text = sid_text(sid);
  if (!LookupAccountSidW(nullptr, sid, name, &name_size, domain, &domain_size,
                         &use)) {
    return text;
  }
  const std::wstring where = *domain ? domain + std::wstring(L"\\") : L"";
  return where + name + L" (" + text + L")";
}

std::wstring user_of(HANDLE token) {
  const TokenInformation<TOKEN_USER> user(token, TokenUser);
  return user ? account_text(user->User.Sid) : kNotTold;
}

std::optional<DWORD> integrity_of(HANDLE token) {
  const TokenInformation<TOKEN_MANDATORY_LABEL> label(token,
                                                      TokenIntegrityLevel);
  if (!label) return {};
  const PSID sid = label->Label.Sid;
  return *GetSidSubAuthority(sid, *GetSidSubAuthorityCount(sid) - 1u);
}

// Whether a copy at the lowest level doesn't show it: then the system has no
// levels, and what it says of this one means nothing.
bool is_level_invented(HANDLE token) {
  const vel::ScopedHandle copy =
      vel::DuplicateTokenFor(token, TOKEN_QUERY | TOKEN_ADJUST_DEFAULT,
                             SecurityImpersonation, TokenPrimary);
  SID sid = {SID_REVISION,
             1,
             SECURITY_MANDATORY_LABEL_AUTHORITY,
             {SECURITY_MANDATORY_UNTRUSTED_RID}};
  TOKEN_MANDATORY_LABEL lowest = {{&sid, SE_GROUP_INTEGRITY}};
  return copy &&
         SetTokenInformation(copy.get(), TokenIntegrityLevel, &lowest,
                             sizeof lowest + sizeof sid) &&
         integrity_of(copy.get()) != SECURITY_MANDATORY_UNTRUSTED_RID;
}

std::wstring integrity_text(HANDLE token) {
  const std::optional<DWORD> level = integrity_of(token);
  return level && !is_level_invented(token) ? integrity_name(*level) : kNotTold;
}

// The groups with any of the attributes, with `attributes` 0 all of them.
Names group_names(const TOKEN_GROUPS& groups, DWORD attributes) {
  Names names;
  for (DWORD i = 0; i < groups.GroupCount; ++i) {
    const SID_AND_ATTRIBUTES& group = groups.Groups[i];
    if (attributes == 0 || (group.Attributes & attributes) != 0) {
      names.push_back(account_text(group.Sid));
    }
  }
  return names;
}

// Whether anything was ever taken from the token.
std::wstring restricted_text(HANDLE token) {
  const TokenInformation<DWORD> restricted(token, TokenHasRestrictions);
  if (!restricted) return kNotTold;
  return *restricted != 0 ? L"yes" : L"no";
}

Names deny_only_groups(HANDLE token) {
  const TokenInformation<TOKEN_GROUPS> groups(token, TokenGroups);
  if (!groups) return {kNotTold};
  return or_none(group_names(*groups, SE_GROUP_USE_FOR_DENY_ONLY));
}

DWORD restricting_sids(HANDLE token) {
  const TokenInformation<TOKEN_GROUPS> sids(token, TokenRestrictedSids);
  return sids ? sids->GroupCount : 0;
}

// Whether a copy with a restricting SID doesn't show it.
bool are_restricting_sids_hidden(HANDLE token) {
  SID_AND_ATTRIBUTES everyone = {vel::LookupSidEveryone(), 0};
  vel::ScopedHandle copy;
  return CreateRestrictedToken(token, 0, 0, nullptr, 0, nullptr, 1, &everyone,
                               copy.put()) &&
         restricting_sids(copy.get()) == 0;
}

Names restricting_names(HANDLE token) {
  const TokenInformation<TOKEN_GROUPS> sids(token, TokenRestrictedSids);
  if (!sids) return {kNotTold};
  if (sids->GroupCount == 0 && are_restricting_sids_hidden(token)) {
    return {kNotTold};
  }
  return or_none(group_names(*sids, 0));
}

std::optional<Names> privileges_of(HANDLE token) {
  const TokenInformation<TOKEN_PRIVILEGES> privileges(token, TokenPrivileges);
  if (!privileges) return {};
  Names names;
  for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) {
    LUID_AND_ATTRIBUTES privilege = privileges->Privileges[i];
    wchar_t name[256];
    DWORD size = ARRAYSIZE(name);
    if ((privilege.Attributes & SE_PRIVILEGE_REMOVED) == 0 &&
        LookupPrivilegeNameW(nullptr, &privilege.Luid, name, &size)) {
      names.emplace_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

Names removed_privileges(HANDLE token, HANDLE reference) {
  const std::optional<Names> own = privileges_of(token);
  const std::optional<Names> full = privileges_of(reference);
  if (!own || !full) return {kNotTold};
  Names removed;
  std::set_difference(full->begin(), full->end(), own->begin(), own->end(),
                      std::back_inserter(removed));
  return or_none(removed);
}

// The shell may run as somebody else, as it does for a program of "runas".
bool is_same_user(HANDLE token, HANDLE other) {
  const TokenInformation<TOKEN_USER> user(token, TokenUser);
  const TokenInformation<TOKEN_USER> other_user(other, TokenUser);
  return user && other_user &&
         EqualSid(user->User.Sid, other_user->User.Sid) != FALSE;
}

vel::ScopedHandle shell_token() {
  DWORD id = 0;
  GetWindowThreadProcessId(GetShellWindow(), &id);
  const vel::ScopedHandle shell(
      id == 0 ? nullptr
              : OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
  return shell ? vel::OpenProcessTokenFor(TOKEN_QUERY, shell.get())
               : vel::ScopedHandle();
}

// The token of an administrator that Windows has filtered this one from. That
// of an elevated process is linked with the filtered one.
vel::ScopedHandle unfiltered_token(HANDLE token) {
  const TokenInformation<TOKEN_ELEVATION_TYPE> type(token, TokenElevationType);
  if (!type || *type != TokenElevationTypeLimited) return {};
  const TokenInformation<TOKEN_LINKED_TOKEN> linked(token, TokenLinkedToken);
  return vel::ScopedHandle(linked ? linked->LinkedToken : nullptr);
}

}  // namespace

std::wstring integrity_name(DWORD level) {
  struct Band {
    DWORD from;
    const wchar_t* name;
  };
  constexpr Band kBands[] = {
      {SECURITY_MANDATORY_SYSTEM_RID, L"System"},
      {SECURITY_MANDATORY_HIGH_RID, L"High"},
      {SECURITY_MANDATORY_MEDIUM_RID, L"Medium"},
      {SECURITY_MANDATORY_LOW_RID, L"Low"},
      {SECURITY_MANDATORY_UNTRUSTED_RID, L"Untrusted"},
  };
  const auto* const band =
      std::find_if(std::begin(kBands), std::end(kBands),
                   [=](const Band& each) { return level >= each.from; });
  return vel::FormatWide(L"%s (0x%04x)", band->name, level);
}

Facts token_facts(HANDLE token, HANDLE reference) {
  return {{L"User", {user_of(token)}},
          {L"Integrity level", {integrity_text(token)}},
          {L"Restricted token", {restricted_text(token)}},
          {L"Deny-only groups", deny_only_groups(token)},
          {L"Restricting SIDs", restricting_names(token)},
          {L"Privileges left",
           or_none(privileges_of(token).value_or(Names{kNotTold}))},
          {L"Privileges removed", removed_privileges(token, reference)}};
}

Facts own_token_facts() {
  const HANDLE process = GetCurrentProcess();
  vel::ScopedHandle token =
      vel::OpenProcessTokenFor(TOKEN_QUERY | TOKEN_DUPLICATE, process);
  if (!token) token = vel::OpenProcessTokenFor(TOKEN_QUERY, process);
  const wchar_t* compared = L"the shell";
  vel::ScopedHandle reference = shell_token();
  if (!reference || !is_same_user(token.get(), reference.get())) {
    compared = L"the user's unrestricted token";
    reference = unfiltered_token(token.get());
  }
  if (!reference) compared = L"nothing: no other token can be read";
  Facts facts = token_facts(token.get(), reference.get());
  facts.push_back({L"Compared with", {compared}});
  return facts;
}

}  // namespace sessionview
