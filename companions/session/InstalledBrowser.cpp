#include "session/InstalledBrowser.h"

#include <windows.h>

#include "session/CommandTemplate.h"
#include "session/RegistryText.h"

namespace velul {
namespace {

constexpr wchar_t kClients[] = L"Software\\Clients\\StartMenuInternet";
// Shows the URL that it is opened with.
constexpr wchar_t kSessionView[] = L"SessionView.exe";

bool same(const std::wstring& a, const std::wstring& b) {
  return CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(),
                              static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

// The command of the client `name`, empty when it is none to use.
std::wstring client_command(HKEY hive, const std::wstring& name) {
  if (name.empty()) return {};
  const std::wstring command = registry_text(
      hive, std::wstring(kClients) + L"\\" + name + L"\\shell\\open\\command",
      nullptr);
  return passes_urls_to_the_product(command) ? std::wstring() : command;
}

std::wstring first_client(HKEY hive) {
  HKEY clients = nullptr;
  if (RegOpenKeyExW(hive, kClients, 0, KEY_READ, &clients) != ERROR_SUCCESS) {
    return {};
  }
  std::wstring command;
  for (DWORD index = 0; command.empty(); ++index) {
    wchar_t name[256];
    DWORD size = 256;
    if (RegEnumKeyExW(clients, index, name, &size, nullptr, nullptr, nullptr,
                      nullptr) != ERROR_SUCCESS) {
      break;
    }
    command = client_command(hive, name);
  }
  RegCloseKey(clients);
  return command;
}

}  // namespace

bool passes_urls_to_the_product(const std::wstring& command_line) {
  wchar_t directory[MAX_PATH] = L"";
  const DWORD size = GetEnvironmentVariableW(L"VELDIR", directory, MAX_PATH);
  if (size == 0 || size >= MAX_PATH) return false;
  const std::wstring prefix = std::wstring(directory) + L"\\";
  const std::wstring program = program_of(command_line);
  return program.size() > prefix.size() &&
         same(program.substr(0, prefix.size()), prefix) &&
         !same(program.substr(prefix.size()), kSessionView);
}

std::wstring installed_browser() {
  const HKEY hives[] = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};
  for (const HKEY hive : hives) {
    std::wstring command =
        client_command(hive, registry_text(hive, kClients, nullptr));
    if (!command.empty()) return command;
  }
  for (const HKEY hive : hives) {
    std::wstring command = first_client(hive);
    if (!command.empty()) return command;
  }
  return {};
}

}  // namespace velul
