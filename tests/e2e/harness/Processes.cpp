#include "harness/Processes.h"

#include <tlhelp32.h>

#include <cwchar>

#include "sync/ProcAddress.h"

namespace vel::test {
namespace {

constexpr ULONG kExtendedHandleInformation = 64;
constexpr LONG kInfoLengthMismatch = static_cast<LONG>(0xC0000004);

using QuerySystemInformationFn = LONG WINAPI(ULONG kind, void* buffer,
                                             ULONG size, ULONG* needed);

struct HandleEntry {
  void* object;
  ULONG_PTR process_id;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};

struct HandleTable {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry entries[1];
};

std::vector<BYTE> QueryHandleTable() {
  const auto query = proc_address<QuerySystemInformationFn*>(
      GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
  std::vector<BYTE> buffer(1 << 18);
  for (;;) {
    const LONG status = query(kExtendedHandleInformation, buffer.data(),
                              static_cast<ULONG>(buffer.size()), nullptr);
    if (status == 0) return buffer;
    if (status != kInfoLengthMismatch) return {};
    buffer.resize(buffer.size() * 2);
  }
}

std::size_t CountHandles(DWORD process_id) {
  const std::vector<BYTE> buffer = QueryHandleTable();
  if (buffer.empty()) return 0;
  const auto* table = reinterpret_cast<const HandleTable*>(buffer.data());
  std::size_t count = 0;
  for (ULONG_PTR i = 0; i < table->count; ++i) {
    count += table->entries[i].process_id == process_id;
  }
  return count;
}

std::size_t CountThreads(DWORD process_id) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  std::size_t count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more;
       more = Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == process_id;
  }
  CloseHandle(snapshot);
  return count;
}

struct DialogSearch {
  DWORD process_id;
  HWND found;
};

BOOL CALLBACK LookForDialog(HWND window, LPARAM argument) {
  auto* search = reinterpret_cast<DialogSearch*>(argument);
  DWORD owner = 0;
  GetWindowThreadProcessId(window, &owner);
  wchar_t name[32] = {};
  GetClassNameW(window, name, 32);
  if (owner != search->process_id || std::wcscmp(name, L"#32770") != 0 ||
      !IsWindowVisible(window)) {
    return TRUE;
  }
  search->found = window;
  return FALSE;
}

}  // namespace

ProcessCounts CountsOf(DWORD process_id) {
  return {CountHandles(process_id), CountThreads(process_id)};
}

std::vector<DWORD> ProcessesNamed(const std::wstring& name, DWORD parent) {
  std::vector<DWORD> found;
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(snapshot, &entry); more;
       more = Process32NextW(snapshot, &entry)) {
    if (_wcsicmp(entry.szExeFile, name.c_str()) == 0 &&
        (parent == 0 || entry.th32ParentProcessID == parent)) {
      found.push_back(entry.th32ProcessID);
    }
  }
  CloseHandle(snapshot);
  return found;
}

void KillProcess(DWORD process_id, UINT exit_code) {
  const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, process_id);
  if (!process) return;
  TerminateProcess(process, exit_code);
  CloseHandle(process);
}

HWND DialogOf(DWORD process_id) {
  DialogSearch search = {process_id, nullptr};
  EnumWindows(&LookForDialog, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

ScopedRegistryValue::ScopedRegistryValue(HKEY root, const std::wstring& key,
                                         const std::wstring& name)
    : _root(root), _key(key), _name(name) {
  HKEY opened = nullptr;
  if (RegOpenKeyExW(root, key.c_str(), 0, KEY_QUERY_VALUE, &opened) !=
      ERROR_SUCCESS) {
    return;
  }
  _key_existed = true;
  RegCloseKey(opened);
  DWORD size = 0;
  if (RegGetValueW(root, key.c_str(), name.c_str(), RRF_RT_ANY, &_type, nullptr,
                   &size) != ERROR_SUCCESS) {
    return;
  }
  _former.resize(size);
  _existed =
      RegGetValueW(root, key.c_str(), name.c_str(), RRF_RT_ANY | RRF_NOEXPAND,
                   &_type, _former.data(), &size) == ERROR_SUCCESS;
}

ScopedRegistryValue::~ScopedRegistryValue() {
  Remove();
  if (!_key_existed) RegDeleteKeyW(_root, _key.c_str());
  if (!_existed) return;
  RegSetKeyValueW(_root, _key.c_str(), _name.c_str(), _type, _former.data(),
                  static_cast<DWORD>(_former.size()));
}

bool ScopedRegistryValue::SetDword(DWORD value) {
  return RegSetKeyValueW(_root, _key.c_str(), _name.c_str(), REG_DWORD, &value,
                         sizeof value) == ERROR_SUCCESS;
}

bool ScopedRegistryValue::SetString(const std::wstring& value) {
  return RegSetKeyValueW(
             _root, _key.c_str(), _name.c_str(), REG_SZ, value.c_str(),
             static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) ==
         ERROR_SUCCESS;
}

void ScopedRegistryValue::Remove() {
  RegDeleteKeyValueW(_root, _key.c_str(), _name.c_str());
}

}  // namespace vel::test
