#include "foundation/Registry.h"

#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "sync/LastErrorKeeper.h"
#include "sync/NtApi.h"

namespace vel {
namespace {

constexpr std::size_t kFixedBytes = 520;
constexpr DWORD kFirstGrowingBytes = 256;

REGSAM access_of(std::uint32_t view) {
  if (view == kRegViewDefault || view == kRegViewDefault1) {
    return MAXIMUM_ALLOWED;
  }
  return MAXIMUM_ALLOWED | KEY_WOW64_32KEY;
}

// One query into a buffer of `size` bytes; `size` becomes the size of the data.
LSTATUS query(const RegKeyHolder& key, const std::wstring& name, void* buffer,
              DWORD& size, DWORD* type = nullptr) {
  return RegQueryValueExW(key.get(), name.c_str(), nullptr, type,
                          static_cast<BYTE*>(buffer), &size);
}

// The data of a value of any size, empty on failure.
std::vector<BYTE> read_growing(const RegKeyHolder& key,
                               const std::wstring& name) {
  std::vector<BYTE> data(kFirstGrowingBytes);
  for (;;) {
    DWORD size = static_cast<DWORD>(data.size());
    const LSTATUS status = query(key, name, data.data(), size);
    if (status == ERROR_MORE_DATA) {
      data.resize(size);
      continue;
    }
    data.resize(status == ERROR_SUCCESS ? size : 0);
    return data;
  }
}

// All of the data as code units, without one zero at the end.
std::wstring text_of(const std::vector<BYTE>& data) {
  std::wstring text(data.size() / sizeof(wchar_t), L'\0');
  memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
  if (!text.empty() && text.back() == L'\0') text.pop_back();
  return text;
}

std::wstring read_string(const RegKeyHolder& key, const std::wstring& name) {
  wchar_t buffer[kFixedBytes / sizeof(wchar_t)] = {};
  DWORD size = sizeof(buffer);
  switch (query(key, name, buffer, size)) {
    case ERROR_SUCCESS:
      return std::wstring(buffer, wcsnlen(buffer, std::size(buffer)));
    case ERROR_MORE_DATA:
      return text_of(read_growing(key, name));
    default:
      return {};
  }
}

// What stands in front of each zero; empty strings are left out.
std::vector<std::wstring> split_at_zeros(std::wstring_view text) {
  std::vector<std::wstring> list;
  std::size_t begin = 0;
  std::size_t end = 0;
  while ((end = text.find(L'\0', begin)) != std::wstring_view::npos) {
    if (end != begin) list.emplace_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return list;
}

void write_value(HKEY root, const std::wstring& subkey,
                 const std::wstring& name, std::uint32_t view, DWORD type,
                 const void* data, std::size_t size) {
  LastErrorKeeper keeper;
  const RegKeyHolder key = RegOpen(root, subkey, true, view);
  if (!key) return;
  RegSetValueExW(key.get(), name.c_str(), 0, type,
                 static_cast<const BYTE*>(data), static_cast<DWORD>(size));
}

}  // namespace

RegKeyHolder::RegKeyHolder(HKEY key) {
  if (key == nullptr || key == INVALID_HANDLE_VALUE) return;
  _key.reset(key, [](HKEY owned) {
    LastErrorKeeper keeper;
    RegCloseKey(owned);
  });
}

bool RegKeyHolder::is_valid() const {
  return _key != nullptr;
}

RegKeyHolder RegOpen(HKEY root, const std::wstring& subkey, bool create,
                     std::uint32_t view) {
  LastErrorKeeper keeper;
  if (root == nullptr) return {};
  HKEY key = nullptr;
  const REGSAM access = access_of(view);
  const LSTATUS status =
      create ? RegCreateKeyExW(root, subkey.c_str(), 0, nullptr, 0, access,
                               nullptr, &key, nullptr)
             : RegOpenKeyExW(root, subkey.c_str(), 0, access, &key);
  return status == ERROR_SUCCESS ? RegKeyHolder(key) : RegKeyHolder();
}

bool RegKeyExists(HKEY root, const std::wstring& subkey, std::uint32_t view) {
  return RegOpen(root, subkey, false, view).is_valid();
}

HKEY RegParseRootKey(const std::wstring& full_path, std::wstring& subkey_out) {
  const std::size_t slash = full_path.find(L'\\');
  const std::wstring name = full_path.substr(0, slash);
  subkey_out = slash == std::wstring::npos ? std::wstring()
                                           : full_path.substr(slash + 1);
  if (name == L"HKEY_CURRENT_USER") return HKEY_CURRENT_USER;
  if (name == L"HKEY_LOCAL_MACHINE") return HKEY_LOCAL_MACHINE;
  if (name == L"HKEY_CLASSES_ROOT") return HKEY_CLASSES_ROOT;
  if (name == L"HKEY_USERS") return HKEY_USERS;
  return nullptr;
}

RegKeyHolder RegOpenFullPath(const std::wstring& full_path,
                             std::uint32_t view) {
  std::wstring subkey;
  const HKEY root = RegParseRootKey(full_path, subkey);
  return RegOpen(root, subkey, false, view);
}

DWORD RegValueType(const std::wstring& subkey, const std::wstring& name) {
  LastErrorKeeper keeper;
  const RegKeyHolder key =
      RegOpen(HKEY_CURRENT_USER, subkey, false, kRegViewDefault1);
  DWORD type = 0;
  DWORD size = 0;
  if (!key || query(key, name, nullptr, size, &type) != ERROR_SUCCESS) return 0;
  return type;
}

std::wstring RegGetString(HKEY root, const std::wstring& subkey,
                          const std::wstring& name, std::uint32_t view) {
  LastErrorKeeper keeper;
  const RegKeyHolder key = RegOpen(root, subkey, false, view);
  return key ? read_string(key, name) : std::wstring();
}

std::vector<std::wstring> RegGetMultiString(HKEY root,
                                            const std::wstring& subkey,
                                            const std::wstring& name,
                                            std::uint32_t view) {
  LastErrorKeeper keeper;
  const RegKeyHolder key = RegOpen(root, subkey, false, view);
  DWORD type = 0;
  DWORD size = 0;
  if (!key || query(key, name, nullptr, size, &type) != ERROR_SUCCESS) {
    return {};
  }
  if (type != REG_MULTI_SZ) return {read_string(key, name)};
  // One unit more than the data needs when its size is odd.
  std::wstring text((size + 1) / sizeof(wchar_t), L'\0');
  DWORD read = size;
  if (query(key, name, text.data(), read) != ERROR_SUCCESS || read != size) {
    return {};
  }
  return split_at_zeros(
      std::wstring_view(text).substr(0, size / sizeof(wchar_t)));
}

std::uint32_t RegGetDword(HKEY root, const std::wstring& subkey,
                          const std::wstring& name, std::uint32_t default_value,
                          std::uint32_t view) {
  LastErrorKeeper keeper;
  const RegKeyHolder key = RegOpen(root, subkey, false, view);
  std::uint32_t value = 0;
  DWORD size = sizeof(value);
  if (!key || query(key, name, &value, size) != ERROR_SUCCESS) {
    return default_value;
  }
  return value;
}

std::uint64_t RegGetQword(HKEY root, const std::wstring& subkey,
                          const std::wstring& name,
                          const wchar_t* legacy_name) {
  LastErrorKeeper keeper;
  const RegKeyHolder key = RegOpen(root, subkey, false, kRegViewDefault);
  if (!key) return 0;
  std::uint64_t value = 0;
  DWORD size = sizeof(value);
  if (query(key, name, &value, size) == ERROR_SUCCESS) return value;
  std::uint32_t legacy = 0;
  size = sizeof(legacy);
  if (legacy_name == nullptr ||
      query(key, legacy_name, &legacy, size) != ERROR_SUCCESS) {
    return 0;
  }
  return legacy;
}

std::vector<BYTE> RegGetBinary(HKEY root, const std::wstring& subkey,
                               const std::wstring& name, std::uint32_t view) {
  LastErrorKeeper keeper;
  const RegKeyHolder key = RegOpen(root, subkey, false, view);
  return key ? read_growing(key, name) : std::vector<BYTE>();
}

std::vector<BYTE> RegGetBinaryFullPath(const std::wstring& full_path,
                                       const std::wstring& name,
                                       std::uint32_t view) {
  std::wstring subkey;
  const HKEY root = RegParseRootKey(full_path, subkey);
  return RegGetBinary(root, subkey, name, view);
}

bool RegGetValueAt(HKEY key, DWORD index, std::wstring& name_out,
                   DWORD& type_out, std::vector<BYTE>& data_out) {
  constexpr std::size_t kFirstName = 32, kMoreName = 64;
  constexpr std::size_t kFirstData = 64, kMoreData = 256;
  LastErrorKeeper keeper;
  std::wstring name(kFirstName, L'\0');
  std::vector<BYTE> data(kFirstData);
  for (;;) {
    DWORD type = 0;
    DWORD name_length = static_cast<DWORD>(name.size());
    DWORD data_size = static_cast<DWORD>(data.size());
    switch (RegEnumValueW(key, index, name.data(), &name_length, nullptr, &type,
                          data.data(), &data_size)) {
      case ERROR_SUCCESS:
        name_out.assign(name, 0, name_length);
        type_out = type;
        data.resize(data_size);
        data_out = std::move(data);
        return true;
      case ERROR_MORE_DATA:
      case ERROR_BUFFER_OVERFLOW:
      case ERROR_NOT_ENOUGH_MEMORY:
        name.resize(name.size() + kMoreName);
        data.resize(data.size() + kMoreData);
        break;
      default:
        return false;
    }
  }
}

LONG RegGetKeyName(HKEY key, std::wstring& name_out) {
  // The layout of the answer: the length in bytes, then the name.
  constexpr std::size_t kFirstBytes = 528;
  std::vector<ULONG> buffer(kFirstBytes / sizeof(ULONG));
  NTSTATUS status = nt::kStatusSuccess;
  for (;;) {
    ULONG needed = 0;
    status = nt::ZwQueryKey(key, nt::kKeyNameInformation, buffer.data(),
                            static_cast<ULONG>(buffer.size() * sizeof(ULONG)),
                            &needed);
    if (status != nt::kStatusBufferTooSmall &&
        status != nt::kStatusBufferOverflow) {
      break;
    }
    buffer.resize(buffer.size() * 2);
  }
  if (!nt::succeeded(status)) return status;
  std::wstring_view name(reinterpret_cast<const wchar_t*>(&buffer[1]),
                         buffer[0] / sizeof(wchar_t));
  if (!name.empty() && name.back() == L'\0') name.remove_suffix(1);
  name_out = name;
  return status;
}

void RegSetString(HKEY root, const std::wstring& subkey,
                  const std::wstring& name, const std::wstring& value,
                  std::uint32_t view) {
  write_value(root, subkey, name, view, REG_SZ, value.c_str(),
              (value.size() + 1) * sizeof(wchar_t));
}

void RegSetDword(HKEY root, const std::wstring& subkey,
                 const std::wstring& name, std::uint32_t value,
                 std::uint32_t view) {
  write_value(root, subkey, name, view, REG_DWORD, &value, sizeof(value));
}

void RegSetQword(HKEY root, const std::wstring& subkey,
                 const std::wstring& name, std::uint64_t value) {
  write_value(root, subkey, name, kRegViewDefault, REG_QWORD, &value,
              sizeof(value));
}

void RegSetBinary(HKEY root, const std::wstring& subkey,
                  const std::wstring& name, const std::vector<BYTE>& bytes) {
  write_value(root, subkey, name, kRegViewDefault, REG_BINARY, bytes.data(),
              bytes.size());
}

LSTATUS RegRemoveValue(HKEY root, const std::wstring& subkey,
                       const std::wstring& name, std::uint32_t view) {
  LastErrorKeeper keeper;
  const RegKeyHolder key = RegOpen(root, subkey, false, view);
  if (!key) return ERROR_FILE_NOT_FOUND;
  return RegDeleteValueW(key.get(), name.c_str());
}

}  // namespace vel
