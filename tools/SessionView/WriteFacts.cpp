#include "SessionView/WriteFacts.h"

#include "foundation/ModuleFile.h"
#include "foundation/PathParts.h"
#include "foundation/Paths.h"
#include "foundation/RandomText.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"
#include "sync/ScopedHandle.h"

namespace sessionview {
namespace {

std::wstring new_name() {
  return L"SessionView-" + vel::RandomName(vel::kRandomNameLength);
}

std::wstring result_text(LSTATUS error) {
  return error == ERROR_SUCCESS
             ? L"writable"
             : vel::FormatWide(L"not writable, error %u", error);
}

std::wstring place(const std::wstring& result, const std::wstring& path) {
  return result + L": " + path;
}

}  // namespace

std::wstring try_folder(const std::wstring& folder) {
  const std::wstring path = vel::with_slash(folder) + new_name() + L".tmp";
  const vel::ScopedFileHandle file(CreateFileW(
      path.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
      FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  DWORD written = 0;
  const bool done =
      file && WriteFile(file.get(), "x", 1, &written, nullptr) != FALSE;
  return result_text(done ? ERROR_SUCCESS
                          : static_cast<LSTATUS>(GetLastError()));
}

std::wstring try_key(HKEY root, const std::wstring& key) {
  HKEY parent = nullptr;
  const LSTATUS opened =
      RegOpenKeyExW(root, key.c_str(), 0, KEY_CREATE_SUB_KEY, &parent);
  if (opened != ERROR_SUCCESS) return result_text(opened);
  const vel::RegKeyHolder holder(parent);
  const std::wstring name = new_name();
  HKEY made = nullptr;
  // Volatile: a key that can't be deleted goes when the user logs off.
  const LSTATUS error =
      RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                      KEY_SET_VALUE, nullptr, &made, nullptr);
  if (error != ERROR_SUCCESS) return result_text(error);
  RegCloseKey(made);
  const LSTATUS left = RegDeleteKeyW(parent, name.c_str());
  return left == ERROR_SUCCESS
             ? result_text(left)
             : vel::FormatWide(L"writable; the key %s is left, error %u",
                               name.c_str(), left);
}

Facts write_facts() {
  const std::wstring profile = vel::special_folder(vel::kFolderProfile, false);
  const std::wstring own = vel::directory_of(vel::module_path(nullptr));
  return {{L"User's profile", {place(try_folder(profile), profile)}},
          {L"Program's folder", {place(try_folder(own), own)}},
          {L"User's registry",
           {place(try_key(HKEY_CURRENT_USER, L"Software"),
                  L"HKEY_CURRENT_USER\\Software")}}};
}

}  // namespace sessionview
