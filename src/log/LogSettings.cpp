#include "log/LogSettings.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>

#include "log/LogText.h"
#include "log/NtValue.h"
#include "log/VelLog.h"
#include "sync/NtHandle.h"

namespace vel {
namespace {

constexpr DWORD kEnvChars = 63;
constexpr DWORD kTempPathChars = 260;
constexpr std::uint64_t kDebugRotationLimit = 0x8000000;
constexpr std::uint64_t kRotationLimit = 0x400000;
constexpr std::uint32_t kLeastRotationKiB = 128;
constexpr std::uint64_t kKiB = 1024;
constexpr wchar_t kMachineKey[] =
    L"\\REGISTRY\\MACHINE\\SOFTWARE\\Tessavane\\VEL";

using EnvText = wchar_t[kEnvChars];

bool read_env(const wchar_t* name, EnvText& text) noexcept {
  const DWORD length = GetEnvironmentVariableW(name, text, kEnvChars);
  return length != 0 && length < kEnvChars;
}

void read_temp_path(wchar_t* path) noexcept {
  const DWORD length = GetTempPathW(kTempPathChars, path);
  if (length == 0 || length >= kTempPathChars) std::wcscpy(path, L"C:\\");
}

}  // namespace

std::uint32_t read_log_level() noexcept {
  std::uint32_t level = kDefaultLogLevel;
  EnvText text;
  if (read_env(L"VELCFG", text) && _wcsicmp(text, L"Privacy") == 0) {
    level = kLogFatal;
  }
  // Later, so that it overrides the configuration.
  if (read_env(L"VELLOG", text) && text[0] >= L'0' && text[0] <= L'9') {
    level = static_cast<std::uint32_t>(_wtoi(text));
  }
  return level;
}

std::uint64_t read_rotation_limit(std::uint32_t level) noexcept {
  const bool debug = level < kDefaultLogLevel;
  NtHandle key;
  NtObjectName name(kMachineKey);
  std::uint32_t kib;
  if (!nt::succeeded(
          nt::ZwOpenKey(key.put(), KEY_QUERY_VALUE, name.attributes())) ||
      !nt::succeeded(read_exact_value(
          key.get(), debug ? L"LogRotationDebug" : L"LogRotationDefault", &kib,
          sizeof kib))) {
    return debug ? kDebugRotationLimit : kRotationLimit;
  }
  return std::max(kib, kLeastRotationKiB) * kKiB;
}

bool log_cipher_is_off() noexcept {
  EnvText text;
  return read_env(L"VELLOGFLAGS", text) && (_wtoi(text) & 1) != 0;
}

void make_log_path(const wchar_t* source,
                   wchar_t (&nt_path)[kLogPathChars]) noexcept {
  std::wcscpy(nt_path, L"\\??\\");
  wchar_t* const path = nt_path + kNtPrefixChars;
  read_temp_path(path);
  for (const wchar_t* level : {L"VelTmp", L"\\Logs"}) {
    if (append_text(nt_path, kLogPathChars, level)) {
      CreateDirectoryW(path, nullptr);
    }
  }
  for (const wchar_t* part :
       {L"\\", source, static_cast<const wchar_t*>(L".swl")}) {
    if (!append_text(nt_path, kLogPathChars, part)) {
      nt_path[0] = L'\0';
      return;
    }
  }
}

}  // namespace vel
