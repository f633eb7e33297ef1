#include "foundation/VolatileFlag.h"

#include <windows.h>
#include <shlwapi.h>

#include <utility>

#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "sync/LastErrorKeeper.h"

namespace vel {
namespace {

std::wstring parent_path() {
  return std::wstring(kProductKeyPrefix) + L"Volatile";
}

HKEY root_of(bool per_user) {
  return per_user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

// The ordinary key that holds the flags, made if need be.
RegKeyHolder open_parent(bool per_user) {
  HKEY key = nullptr;
  RegCreateKeyW(root_of(per_user), parent_path().c_str(), &key);
  return RegKeyHolder(key);
}

}  // namespace

VolatileFlag::VolatileFlag(std::wstring name, bool per_user)
    : _name(std::move(name)), _per_user(per_user) {}

void VolatileFlag::Set() {
  LastErrorKeeper keeper;
  // A flag key that isn't volatile would outlive the reboot.
  Clear();
  const RegKeyHolder parent = open_parent(_per_user);
  if (!parent) return;
  HKEY key = nullptr;
  RegCreateKeyExW(parent.get(), _name.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                  KEY_ALL_ACCESS, nullptr, &key, nullptr);
  RegKeyHolder close(key);
}

void VolatileFlag::Clear() {
  LastErrorKeeper keeper;
  const RegKeyHolder parent = open_parent(_per_user);
  if (parent) SHDeleteKeyW(parent.get(), _name.c_str());
}

bool VolatileFlag::IsSet() const {
  LastErrorKeeper keeper;
  HKEY key = nullptr;
  const std::wstring path = parent_path() + L"\\" + _name;
  const LSTATUS status = RegOpenKeyW(root_of(_per_user), path.c_str(), &key);
  return status == ERROR_SUCCESS && RegKeyHolder(key).is_valid();
}

}  // namespace vel
