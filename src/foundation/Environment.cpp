#include "foundation/Environment.h"

#include <windows.h>
#include <shlobj.h>

#include <atomic>
#include <cstddef>
#include <cwchar>
#include <new>

#include "foundation/Paths.h"
#include "sync/LastErrorKeeper.h"

namespace vel {
namespace {

constexpr std::size_t kValueRoom = 256;

// The word that tells whether the process's table is there. The table is never
// destroyed: at the process's end a thread may still be in it.
constinit std::atomic<EnvOverrides*> overrides_alive = nullptr;
alignas(EnvOverrides) constinit std::byte
    overrides_storage[sizeof(EnvOverrides)] = {};

struct OverridesLife {
  OverridesLife() { overrides_alive = ::new (overrides_storage) EnvOverrides; }
  ~OverridesLife() { overrides_alive = nullptr; }
};
const OverridesLife overrides_life;

std::wstring temporary_app_data() {
  std::wstring directory = temp_directory() + L"\\TmpAppData";
  CreateDirectoryW(directory.c_str(), nullptr);
  return directory;
}

struct ComputedVariable {
  const wchar_t* name;
  std::wstring (*compute)();
};
constexpr ComputedVariable kComputed[] = {
    {L"TEMP", temp_directory},
    {L"APPDATA", temporary_app_data},
    {L"VELDIR", install_path},
    {L"WINDIR", windows_directory},
};

struct NamedFolder {
  const wchar_t* name;
  int id;
};
constexpr NamedFolder kNamedFolders[] = {
    {L"CSIDL_PROFILE", kFolderProfile},
    {L"CSIDL_TEMP", kFolderTemp},
    {L"CSIDL_APPDATA", CSIDL_APPDATA},
    {L"CSIDL_COOKIES", CSIDL_COOKIES},
    {L"CSIDL_DESKTOPDIRECTORY", CSIDL_DESKTOPDIRECTORY},
    {L"CSIDL_FAVORITES", CSIDL_FAVORITES},
    {L"CSIDL_HISTORY", CSIDL_HISTORY},
    {L"CSIDL_INTERNET_CACHE", CSIDL_INTERNET_CACHE},
    {L"CSIDL_LOCALSETTINGS", kFolderLocalSettings},
    {L"CSIDL_LOCAL_APPDATA", CSIDL_LOCAL_APPDATA},
    {L"CSIDL_PERSONAL", CSIDL_PERSONAL},
    {L"CSIDL_PROGRAMS", CSIDL_PROGRAMS},
    {L"CSIDL_RECENT", CSIDL_RECENT},
    {L"CSIDL_STARTMENU", CSIDL_STARTMENU},
    {L"CSIDL_STARTUP", CSIDL_STARTUP},
    {L"CSIDL_SENDTO", CSIDL_SENDTO},
    {L"CSIDL_COMMON_APPDATA", CSIDL_COMMON_APPDATA},
    {L"CSIDL_COMMON_DESKTOPDIRECTORY", CSIDL_COMMON_DESKTOPDIRECTORY},
    {L"CSIDL_COMMON_DOCUMENTS", CSIDL_COMMON_DOCUMENTS},
    {L"CSIDL_COMMON_FAVORITES", CSIDL_COMMON_FAVORITES},
    {L"CSIDL_COMMON_PROGRAMS", CSIDL_COMMON_PROGRAMS},
    {L"CSIDL_COMMON_STARTMENU", CSIDL_COMMON_STARTMENU},
    {L"CSIDL_COMMON_STARTUP", CSIDL_COMMON_STARTUP},
    {L"CSIDL_COMMON_TEMPLATES", CSIDL_COMMON_TEMPLATES},
};

}  // namespace

EnvOverrides* EnvOverrides::alive() {
  return overrides_alive;
}

std::wstring EnvOverrides::find(const std::wstring& name) {
  const std::wstring key = lower_case(name);
  VelFastMutex::Scope scope(_lock);
  const auto entry = _values.find(key);
  return entry == _values.end() ? std::wstring() : entry->second;
}

void EnvOverrides::set(const std::wstring& name, const std::wstring& value) {
  const std::wstring key = lower_case(name);
  VelFastMutex::Scope scope(_lock);
  if (value.empty()) {
    _values.erase(key);
  } else {
    _values[key] = value;
  }
}

std::wstring process_env(const std::wstring& name) {
  LastErrorKeeper keeper;
  std::wstring value(kValueRoom, L'\0');
  for (;;) {
    const DWORD length = GetEnvironmentVariableW(
        name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    if (length < value.size()) {
      value.resize(length);
      return value;
    }
    value.resize(length + kValueRoom);
  }
}

std::wstring get_env(const std::wstring& name) {
  LastErrorKeeper keeper;
  std::wstring value;
  if (EnvOverrides* overrides = EnvOverrides::alive()) {
    value = overrides->find(name);
  }
  if (value.empty()) value = process_env(name);
  if (!value.empty()) return value;
  for (const ComputedVariable& variable : kComputed) {
    if (_wcsicmp(name.c_str(), variable.name) == 0) return variable.compute();
  }
  return {};
}

void set_env(const std::wstring& name, const std::wstring& value,
             bool process) {
  LastErrorKeeper keeper;
  if (process) {
    SetEnvironmentVariableW(name.c_str(),
                            value.empty() ? nullptr : value.c_str());
  } else if (EnvOverrides* overrides = EnvOverrides::alive()) {
    overrides->set(name, value);
  }
}

std::wstring expand_env(const std::wstring& text, bool strict) {
  constexpr wchar_t kMark = L'%';
  const std::size_t first = text.find(kMark);
  if (first == std::wstring::npos || first == text.rfind(kMark)) return text;

  const std::wstring closed = text + kMark;
  std::wstring result;
  bool in_name = false;
  std::size_t begin = 0;
  std::size_t end = 0;
  for (; (end = closed.find(kMark, begin)) != std::wstring::npos;
       begin = end + 1, in_name = !in_name) {
    const std::wstring piece = closed.substr(begin, end - begin);
    if (!in_name) {
      result += piece;
      continue;
    }
    if (piece.empty()) {
      result += kMark;
      continue;
    }
    const std::wstring value = get_env(piece);
    if (value.empty() && strict) return {};
    result += value.empty() ? kMark + piece + kMark : value;
  }
  return result;
}

void publish_folder_names() {
  for (const NamedFolder& folder : kNamedFolders) {
    const std::wstring path = special_folder(folder.id, false);
    if (!path.empty()) set_env(folder.name, path, false);
  }
}

}  // namespace vel
