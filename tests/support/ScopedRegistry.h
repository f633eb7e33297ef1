// The roots of the registry mapped to keys of the test's own for this process.
#ifndef VEL_TESTS_SUPPORT_SCOPEDREGISTRY_H_
#define VEL_TESTS_SUPPORT_SCOPEDREGISTRY_H_

#include <gtest/gtest.h>
#include <windows.h>
#include <shlwapi.h>

#include <string>

#include "foundation/Registry.h"
#include "foundation/Text.h"

namespace vel::test {

// HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE and HKEY_CLASSES_ROOT are empty from
// here to the end of the scope; the last is the user's Software\Classes.
class [[nodiscard]] ScopedRegistry {
 public:
  [[nodiscard]] ScopedRegistry() {
    Map(HKEY_LOCAL_MACHINE, L"\\machine");
    Map(HKEY_CLASSES_ROOT, L"\\user\\Software\\Classes");
    Map(HKEY_CURRENT_USER, L"\\user");
  }
  ~ScopedRegistry() {
    for (HKEY root :
         {HKEY_CURRENT_USER, HKEY_CLASSES_ROOT, HKEY_LOCAL_MACHINE}) {
      RegOverridePredefKey(root, nullptr);
    }
    SHDeleteKeyW(HKEY_CURRENT_USER, _key.c_str());
  }
  ScopedRegistry(const ScopedRegistry&) = delete;
  ScopedRegistry& operator=(const ScopedRegistry&) = delete;

 private:
  void Map(HKEY root, const wchar_t* key) {
    const RegKeyHolder own = RegOpen(HKEY_CURRENT_USER, _key + key, true, 0);
    EXPECT_EQ(RegOverridePredefKey(root, own.get()), ERROR_SUCCESS);
  }

  const std::wstring _key =
      FormatWide(L"Software\\Tessavane\\VELTest\\%u", GetCurrentProcessId());
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_SCOPEDREGISTRY_H_
