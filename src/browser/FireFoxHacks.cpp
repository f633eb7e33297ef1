#include "browser/FireFoxHacks.h"

#include <windows.h>

#include <ctime>
#include <string>

#include "browser/FirefoxProfiles.h"
#include "browser/ProgramSearch.h"
#include "browser/RegisterFirefox.h"
#include "foundation/Environment.h"
#include "foundation/PathParts.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"
#include "log/VelProfileHolder.h"
#include "security/WellKnownSids.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\FireFoxHacks";
constexpr wchar_t kRequestValue[] = L"FireFoxExtUpdTS64";
// Of earlier versions, 32 bits.
constexpr wchar_t kOldRequestValue[] = L"FireFoxExtUpdTS";
constexpr wchar_t kFirefoxKey[] = L"Software\\Mozilla\\Mozilla Firefox";

std::uint64_t stamp(HKEY root, const wchar_t* old_value) {
  return RegGetQword(root, kProductKey, kRequestValue, old_value);
}

// Not an order: a request that isn't the recorded one is to be carried out,
// also when the clock was set back in between.
bool is_update_applied() {
  return stamp(HKEY_LOCAL_MACHINE, kOldRequestValue) ==
         stamp(HKEY_CURRENT_USER, nullptr);
}

// False, with a log line, when the process's token can't be read.
bool runs_as_system() {
  ScopedHandle token;
  alignas(TOKEN_USER) BYTE buffer[4096];
  DWORD size = 0;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put()) ||
      !GetTokenInformation(token.get(), TokenUser, buffer, sizeof(buffer),
                           &size)) {
    VEL_LOG_WIN32_CALL();
    return false;
  }
  const PSID system = LookupSidSystem();
  return system != nullptr &&
         EqualSid(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, system);
}

std::wstring registered_directory() {
  const auto read = [](const std::wstring& key, const wchar_t* value) {
    return RegGetString(HKEY_LOCAL_MACHINE, key, value, kRegViewDefault);
  };
  const std::wstring version = read(kFirefoxKey, L"CurrentVersion");
  if (version.empty()) return {};
  return read(kFirefoxKey + (L'\\' + version) + L"\\Main",
              L"Install Directory");
}

bool exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Without a backslash at the end; empty when Firefox isn't found.
std::wstring firefox_directory() {
  std::wstring directory =
      without_slash(directory_of(find_executable(L"firefox.exe")));
  if (exists(directory)) return directory;
  directory = without_slash(registered_directory());
  if (exists(directory)) return directory;
  directory = expand_env(L"%PROGRAMFILES%\\Mozilla Firefox", true);
  return exists(directory) ? directory : std::wstring();
}

// Firefox writes them anew at its next start, and finds the extensions by that.
void drop_component_caches() {
  for (const auto& profile : list_firefox_profiles()) {
    if (profile->path.empty()) continue;
    DeleteFileW((profile->path + L"compreg.dat").c_str());
    DeleteFileW((profile->path + L"xpti.dat").c_str());
  }
}

}  // namespace

void NeedUpdateExtensions() {
  const auto now = static_cast<std::uint64_t>(_time64(nullptr));
  RegSetQword(HKEY_LOCAL_MACHINE, kProductKey, kRequestValue, now);
  VelLog_Print(kLogTrace, L"NeedUpdateExtensions: need_ts=0x%I64x", now);
}

void MarkUpdateApplied() {
  const std::uint64_t request = stamp(HKEY_LOCAL_MACHINE, nullptr);
  RegSetQword(HKEY_CURRENT_USER, kProductKey, kRequestValue, request);
  VelLog_Print(kLogTrace, L"MarkUpdateApplied: need_ts=0x%I64x", request);
}

void CheckForUpdateExtensions() {
  VEL_PROFILE_SCOPE("CheckForUpdateExtensions");
  if (is_update_applied()) return;
  if (runs_as_system()) {
    VelLog_Print(
        kLogWarning,
        L"CheckForUpdateExtensions: cannot start firefox under system");
    return;
  }
  const std::wstring directory = firefox_directory();
  if (directory.empty()) {
    VelLog_Print(kLogWarning,
                 L"CheckForUpdateExtensions: cannot locate firefox executable");
    return;
  }
  drop_component_caches();
  if (RegisterFirefox(directory)) MarkUpdateApplied();
}

}  // namespace vel
