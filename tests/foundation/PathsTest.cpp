// Where things lie: parts of paths, long names, the product's files.
#include "foundation/Paths.h"

#include <gtest/gtest.h>

#include "foundation/LongPath.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScopedVariable;
using test::ScratchDirectory;

const HKEY kMachine = HKEY_LOCAL_MACHINE;

class PathsTest : public testing::Test {
 protected:
  const test::ScopedRegistry _registry;
  const ScratchDirectory _scratch;
  const ScopedVariable _product{L"VELDIR", L"C:\\veldir"};
};

TEST(LongPathCache, TakesNothingNewWhileFullAndPrunesEveryFiveSeconds) {
  LongPathCache cache;
  for (std::size_t i = 0; i < LongPathCache::kLimit; ++i) {
    cache.enter(std::wstring(i, L'x'), L"long", i == 0 ? 12000 : 10000);
  }
  cache.enter(L"new", L"long", 69000);  // Prunes, but nothing is dead.
  cache.enter(L"new", L"long", 73999);  // Too soon.
  EXPECT_EQ(cache.size(), LongPathCache::kLimit);
  EXPECT_EQ(cache.find(L"new", 73999), std::nullopt);
  cache.enter(L"new", L"long", 74000);
  EXPECT_EQ(cache.size(), 0u);
  cache.enter(L"new", L"long", 74000);
  EXPECT_EQ(cache.find(L"new", 74000), L"long");
}

TEST(LongPath, LengthensTheComponentsThatExist) {
  const ScratchDirectory scratch;
  const std::wstring name = L"A longer name\\Another long name.text";
  const std::wstring shortened = short_path(scratch.Write(name, "x"));
  if (file_name_of(shortened).find(L'~') == std::wstring::npos) {
    GTEST_SKIP() << "the volume has no 8.3 names";
  }
  const std::wstring expected = long_path(scratch.path()) + L"\\" + name;
  EXPECT_EQ(long_path(shortened), expected);
  EXPECT_EQ(long_path(L"\\??\\" + shortened), L"\\??\\" + expected);
}

TEST(LongPath, LeavesOtherPathsAlone) {
  for (const wchar_t* path :
       {L"", L"C:", L"C:\\", L"name~1", L"C:\\no~1\\x", L"C:\\a*~1", L"\\??\\",
        L"\\??\\C:\\x", L"\\\\srv\\share\\a"}) {
    SetLastError(1234);
    EXPECT_EQ(long_path(path), path);
    EXPECT_EQ(GetLastError(), 1234u);
  }
  EXPECT_EQ(short_path(L"C:\\no such\\file name"), L"C:\\no such\\file name");
  // What couldn't be found is looked for again.
  const ScratchDirectory scratch;
  const std::wstring path = scratch.File(L"NAME~1.TXT");
  EXPECT_EQ(file_name_of(long_path(path)), L"NAME~1.TXT");
  scratch.Write(L"name~1.txt", "x");
  EXPECT_EQ(file_name_of(long_path(path)), L"name~1.txt");
}

TEST_F(PathsTest, FindsTheInstallationInItsOrder) {
  const std::wstring uninstall =
      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
  EXPECT_EQ(install_path(), L"");
  RegSetString(HKEY_CURRENT_USER, kProductKey, L"InstallPath", L"C:\\user\\",
               0);
  EXPECT_EQ(install_path(), L"C:\\user");
  RegSetString(kMachine, uninstall + kUninstallKeyName, L"InstallLocation",
               L"C:\\uninstall", 0);
  EXPECT_EQ(install_path(), L"C:\\uninstall");
  RegSetString(kMachine, kProductKey, L"InstallPath", L"C:\\machine\\", 0);
  EXPECT_EQ(install_path(), L"C:\\machine");
}

TEST_F(PathsTest, FindsTheProductsFiles) {
  for (const auto& [setting, path] :
       {std::pair{L"", L"C:\\veldir\\Brindlemar.exe"},
        {L"Other.exe", L"C:\\veldir\\Other.exe"},
        {L"D:\\Other.exe", L"D:\\Other.exe"},
        {L"\\\\srv\\Other.exe", L"\\\\srv\\Other.exe"}}) {
    RegSetString(kMachine, kProductKey, L"ProductExecutable", setting, 0);
    EXPECT_EQ(product_executable(), path);
  }
  const ScopedVariable app_data(L"APPDATA", _scratch.path());
  EXPECT_EQ(app_data_directory(), _scratch.File(L"Tessavane\\VEL\\"));
  RegSetString(kMachine, kProductKey, L"Brand", L"Other", 0);
  EXPECT_EQ(app_data_directory(), _scratch.File(L"Tessavane\\Other\\"));
  EXPECT_TRUE(FileExists(_scratch.File(L"Tessavane\\Other")));
  _product.Set(L"");
  EXPECT_EQ(product_directory(), directory_of(module_path(nullptr)));
}

TEST_F(PathsTest, RedirectsAComponentToAFileThatExists) {
  const std::wstring key =
      std::wstring(kProductKeyPrefix) + L"ComponentRedirect";
  const std::wstring file = _scratch.File(L"moved.dll");
  RegSetString(kMachine, key, L"x.dll", file, 0);
  EXPECT_EQ(component_path(L"MIN\\x.dll"), L"C:\\veldir\\MIN\\x.dll");
  _scratch.Write(L"moved.dll", "x");
  // The name without its folder decides.
  EXPECT_EQ(component_path(L"MIN\\x.dll"), file);
}

}  // namespace
}  // namespace vel
