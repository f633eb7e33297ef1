#include "security/Tokens.h"

#include "security/AccountSids.h"
#include "security/WellKnownSids.h"
#include "sync/ProcAddress.h"

namespace vel {
namespace {

constexpr DWORD kGrantingAttributes =
    SE_GROUP_ENABLED | SE_GROUP_ENABLED_BY_DEFAULT | SE_GROUP_MANDATORY;

bool is_granting(const SID_AND_ATTRIBUTES& group) {
  return (group.Attributes & kGrantingAttributes) != 0 &&
         (group.Attributes & SE_GROUP_USE_FOR_DENY_ONLY) == 0;
}

// Session 0 on systems that have no sessions.
DWORD console_session() {
  const auto active = proc_address<decltype(&WTSGetActiveConsoleSessionId)>(
      GetModuleHandleW(L"kernel32.dll"), "WTSGetActiveConsoleSessionId");
  return active == nullptr ? 0 : active();
}

}  // namespace

ScopedHandle OpenThreadTokenQuery(HANDLE thread) {
  HANDLE token = nullptr;
  if (!OpenThreadToken(thread, TOKEN_QUERY, TRUE, &token) &&
      !OpenThreadToken(thread, TOKEN_QUERY, FALSE, &token)) {
    return ScopedHandle();
  }
  return ScopedHandle(token);
}

ScopedHandle OpenProcessTokenFor(DWORD access, HANDLE process) {
  HANDLE token = nullptr;
  if (!OpenProcessToken(process, access, &token)) return ScopedHandle();
  return ScopedHandle(token);
}

ScopedHandle OpenCurrentToken() {
  ScopedHandle token = OpenThreadTokenQuery(GetCurrentThread());
  if (token) return token;
  return OpenProcessTokenFor(TOKEN_QUERY, GetCurrentProcess());
}

ScopedHandle DuplicateTokenFor(HANDLE token, DWORD access,
                               SECURITY_IMPERSONATION_LEVEL level,
                               TOKEN_TYPE type) {
  HANDLE copy = nullptr;
  if (!DuplicateTokenEx(token, access, nullptr, level, type, &copy)) {
    return ScopedHandle();
  }
  return ScopedHandle(copy);
}

std::vector<BYTE> ReadTokenInformation(HANDLE token,
                                       TOKEN_INFORMATION_CLASS what,
                                       const TokenReadSizes& sizes) {
  std::vector<BYTE> information(sizes.first);
  DWORD size = sizes.first;
  if (GetTokenInformation(token, what, information.data(), size, &size)) {
    return information;
  }
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return {};
  information.resize(size + sizes.slack);
  size = static_cast<DWORD>(information.size());
  if (!GetTokenInformation(token, what, information.data(), size, &size)) {
    return {};
  }
  return information;
}

bool TokenHasGroup(HANDLE token, PSID sid) {
  if (sid == nullptr) return false;
  const std::vector<BYTE> information =
      ReadTokenInformation(token, TokenGroups, kAskForSize);
  if (information.empty()) return false;
  const auto* groups =
      reinterpret_cast<const TOKEN_GROUPS*>(information.data());
  for (DWORD i = 0; i < groups->GroupCount; ++i) {
    const SID_AND_ATTRIBUTES& group = groups->Groups[i];
    if (is_granting(group) && EqualSid(group.Sid, sid)) return true;
  }
  return false;
}

bool TokenHasEveryone(HANDLE token) {
  return TokenHasGroup(token, LookupSidEveryone());
}

bool TokenHasVelGroup(HANDLE token) {
  return TokenHasGroup(token, LookupSidVel());
}

ScopedHandle GetConsoleUserToken(DWORD& state) {
  if (state == kUnknownSession) state = console_session();
  const HMODULE library = LoadLibraryW(L"Wtsapi32.dll");
  if (library == nullptr) return ScopedHandle();
  const auto query =
      proc_address<BOOL(WINAPI*)(ULONG, HANDLE*)>(library, "WTSQueryUserToken");
  HANDLE token = nullptr;
  if (query != nullptr && state != kUnknownSession && !query(state, &token)) {
    token = nullptr;
  }
  const LastErrorKeeper keeper;
  FreeLibrary(library);
  return ScopedHandle(token);
}

}  // namespace vel
