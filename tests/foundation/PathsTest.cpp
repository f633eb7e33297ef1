#include "foundation/Paths.h"

#include <gtest/gtest.h>

#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "support/ScopedVariable.h"
#include "foundation/Text.h"
#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScopedVariable;
using test::ScratchDirectory;

// A value of a product key, put back as it was.
class ScopedSetting {
 public:
  ScopedSetting(HKEY root, std::wstring subkey, std::wstring name,
                const std::wstring& value)
      : _root(root),
        _subkey(std::move(subkey)),
        _name(std::move(name)),
        _before(RegGetString(_root, _subkey, _name, 0)) {
    put(value);
  }
  ~ScopedSetting() { put(_before); }
  ScopedSetting(const ScopedSetting&) = delete;
  ScopedSetting& operator=(const ScopedSetting&) = delete;

  void put(const std::wstring& value) {
    if (value.empty()) {
      RegRemoveValue(_root, _subkey, _name, 0);
    } else {
      RegSetString(_root, _subkey, _name, value, 0);
    }
  }

 private:
  const HKEY _root;
  const std::wstring _subkey, _name, _before;
};

bool can_write_machine_settings() {
  return RegOpen(HKEY_LOCAL_MACHINE, kProductKey, true, 0).is_valid();
}
#define NEED_MACHINE_SETTINGS()                              \
  if (!can_write_machine_settings()) {                       \
    GTEST_SKIP() << "no write access to HKEY_LOCAL_MACHINE"; \
  }

TEST(PathParts, TakesPathsApart) {
  const struct {
    const wchar_t *path, *directory, *name;
  } rows[] = {
      {L"C:\\a\\b.txt", L"C:\\a\\", L"b.txt"},
      {L"C:\\a\\", L"C:\\a\\", L""},
      {L"name", L"", L"name"},
      {L"", L"", L""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(directory_of(row.path), row.directory);
    EXPECT_EQ(file_name_of(row.path), row.name);
  }
}

TEST(PathParts, AddsAndCutsSlashes) {
  EXPECT_EQ(with_slash(L""), L"");
  EXPECT_EQ(with_slash(L"a"), L"a\\");
  EXPECT_EQ(with_slash(L"a\\"), L"a\\");
  EXPECT_EQ(without_slash(L"a\\"), L"a");
  EXPECT_EQ(without_slash(L"a"), L"a");
  EXPECT_EQ(without_slash(L""), L"");
  EXPECT_EQ(lower_case(L"\\A\x00c4"), L"\\a\x00e4");
}

TEST(PathParts, MakesDirectories) {
  const ScratchDirectory scratch;
  make_directories(scratch.File(L"a\\b\\c\\"));
  EXPECT_TRUE(FileExists(scratch.File(L"a\\b\\c")));
  make_directories(scratch.File(L"d\\e\\file.txt"));
  EXPECT_TRUE(FileExists(scratch.File(L"d\\e")));
  EXPECT_FALSE(FileExists(scratch.File(L"d\\e\\file.txt")));
  make_directories(L"\\??\\" + scratch.File(L"f\\g\\"));
  EXPECT_TRUE(FileExists(scratch.File(L"f\\g")));
  // A file stands in the way.
  scratch.Write(L"h", "x");
  SetLastError(1234);
  make_directories(scratch.File(L"h\\i\\"));
  EXPECT_EQ(GetLastError(), 1234u);
  EXPECT_EQ(scratch.Read(L"h"), "x");
}

TEST(ModuleFile, NamesModules) {
  EXPECT_TRUE(EndsWithNoCase(module_path(nullptr), L"\\foundation_tests.exe"));
  EXPECT_TRUE(EndsWithNoCase(module_path(GetModuleHandleW(L"kernel32.dll")),
                             L"\\kernel32.dll"));
  EXPECT_EQ(module_path(reinterpret_cast<HMODULE>(16)), L"");
}

TEST(ModuleFile, ReadsFileVersions) {
  const std::wstring version =
      file_version(module_path(GetModuleHandleW(L"user32.dll")));
  unsigned parts[4] = {};
  EXPECT_EQ(swscanf(version.c_str(), L"%u.%u.%u.%u", &parts[0], &parts[1],
                    &parts[2], &parts[3]),
            4);
  EXPECT_GT(parts[0], 0u);
  EXPECT_EQ(file_version(module_path(nullptr)), L"");
  EXPECT_EQ(file_version(L"C:\\no\\file"), L"");
}

TEST(Paths, KnowsTheSystemsDirectories) {
  EXPECT_TRUE(FileExists(windows_directory() + L"\\system32"));
  const ScratchDirectory scratch;
  const ScopedVariable tmp(L"TMP", scratch.path());
  EXPECT_EQ(lower_case(temp_directory()), lower_case(scratch.path()));
  const std::wstring system = wow64_system_directory();
  EXPECT_TRUE(system.empty() || EndsWithNoCase(system, L"\\syswow64"));
  EXPECT_FALSE(is_wow64_process(GetCurrentProcess()));
  EXPECT_FALSE(is_wow64_process(nullptr));
}

TEST(Paths, FindsTheInstallationInItsOrder) {
  NEED_MACHINE_SETTINGS();
  constexpr wchar_t kUninstall[] =
      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
  ScopedSetting machine(HKEY_LOCAL_MACHINE, kProductKey, L"InstallPath",
                        L"C:\\machine\\");
  ScopedSetting uninstall(HKEY_LOCAL_MACHINE,
                          std::wstring(kUninstall) + kUninstallKeyName,
                          L"InstallLocation", L"C:\\uninstall");
  ScopedSetting user(HKEY_CURRENT_USER, kProductKey, L"InstallPath",
                     L"C:\\user\\");
  EXPECT_EQ(install_path(), L"C:\\machine");
  machine.put(L"");
  EXPECT_EQ(install_path(), L"C:\\uninstall");
  uninstall.put(L"");
  EXPECT_EQ(install_path(), L"C:\\user");
  user.put(L"");
  EXPECT_EQ(install_path(), L"");
}

TEST(Paths, FindsTheProductsFiles) {
  NEED_MACHINE_SETTINGS();
  const ScopedVariable product(L"VELDIR", L"C:\\veldir");
  EXPECT_EQ(product_directory(), L"C:\\veldir\\");
  ScopedSetting executable(HKEY_LOCAL_MACHINE, kProductKey,
                           L"ProductExecutable", L"");
  EXPECT_EQ(product_executable(), L"C:\\veldir\\Brindlemar.exe");
  for (const auto& [setting, path] :
       {std::pair{L"Other.exe", L"C:\\veldir\\Other.exe"},
        std::pair{L"D:\\Other.exe", L"D:\\Other.exe"},
        std::pair{L"\\\\srv\\Other.exe", L"\\\\srv\\Other.exe"}}) {
    executable.put(setting);
    EXPECT_EQ(product_executable(), path);
  }
}

TEST(Paths, FallsBackToTheProcesssDirectory) {
  NEED_MACHINE_SETTINGS();
  const ScopedVariable product(L"VELDIR", L"");
  ScopedSetting machine(HKEY_LOCAL_MACHINE, kProductKey, L"InstallPath", L"");
  ScopedSetting user(HKEY_CURRENT_USER, kProductKey, L"InstallPath", L"");
  if (!install_path().empty()) GTEST_SKIP() << "the product is installed";
  EXPECT_EQ(product_directory(), directory_of(module_path(nullptr)));
}

TEST(Paths, PutsUserDataBelowTheBrand) {
  NEED_MACHINE_SETTINGS();
  const ScratchDirectory scratch;
  const ScopedVariable app_data(L"APPDATA", scratch.path());
  ScopedSetting setting(HKEY_LOCAL_MACHINE, kProductKey, L"Brand", L"");
  EXPECT_EQ(app_data_directory(), scratch.path() + L"\\Tessavane\\VEL\\");
  EXPECT_TRUE(FileExists(scratch.File(L"Tessavane\\VEL")));
  setting.put(L"Other");
  EXPECT_EQ(brand(), L"Other");
  EXPECT_EQ(app_data_directory(), scratch.path() + L"\\Tessavane\\Other\\");
}

TEST(Paths, RedirectsAComponentToAFileThatExists) {
  NEED_MACHINE_SETTINGS();
  const ScratchDirectory scratch;
  const ScopedVariable product(L"VELDIR", L"C:\\veldir");
  const std::wstring moved = scratch.Write(L"moved.dll", "x");
  ScopedSetting redirect(HKEY_LOCAL_MACHINE,
                         std::wstring(kProductKeyPrefix) + L"ComponentRedirect",
                         L"VELTestComponent.dll", moved);
  EXPECT_EQ(component_path(L"VELTestComponent.dll"), moved);
  // The name without its folder decides.
  EXPECT_EQ(component_path(L"MIN\\VELTestComponent.dll"), moved);
  redirect.put(scratch.File(L"missing.dll"));
  EXPECT_EQ(component_path(L"MIN\\VELTestComponent.dll"),
            L"C:\\veldir\\MIN\\VELTestComponent.dll");
}

TEST(Paths, FindsThe32BitFiles) {
  const ScopedVariable product(L"VELDIR", L"C:\\veldir");
  const test::LogCapture log;
  EXPECT_EQ(GetWow64ModulePath(L"c:\\VELDIR\\a\\b.dll"),
            L"c:\\VELDIR\\WOW64\\a\\b.dll");
  EXPECT_EQ(GetWow64ModulePath(L"b.dll"), L"C:\\veldir\\WOW64\\b.dll");
  EXPECT_EQ(GetWow64ModulePath(L"D:"), L"C:\\veldir\\WOW64\\D:");
  EXPECT_TRUE(log.Lines().empty() || !log.Contains(2, L"GetWow64ModulePath"));
  EXPECT_EQ(GetWow64ModulePath(L"D:\\a\\b.dll"), L"D:\\a\\WOW64\\b.dll");
  EXPECT_TRUE(log.Contains(
      2,
      L"GetWow64ModulePath('D:\\a\\b.dll') - not in velroot='C:\\veldir\\', "
      L"defaulted to 'D:\\a\\WOW64\\b.dll' "));
}

TEST(Paths, FindsTheShellsFolders) {
  const std::wstring app_data = special_folder(26, true);
  ASSERT_NE(app_data, L"");
  EXPECT_EQ(app_data.back(), L'\\');
  EXPECT_EQ(special_folder(26, false), without_slash(app_data));
  const ScopedVariable all_users(L"ALLUSERSPROFILE", L"C:\\all\\");
  EXPECT_EQ(special_folder(kFolderAllUsersProfile, false), L"C:\\all");
  EXPECT_EQ(special_folder(12345, true), L"");
}

TEST(Paths, CreatesTheFavoritesFolder) {
  constexpr wchar_t kShellFolders[] =
      L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
  const ScratchDirectory scratch;
  const ScopedSetting setting(HKEY_CURRENT_USER, kShellFolders, L"Favorites",
                              scratch.File(L"a\\fav"));
  EXPECT_EQ(special_folder(6, true), scratch.File(L"a\\fav\\"));
  EXPECT_TRUE(FileExists(scratch.File(L"a\\fav")));
  const ScopedSetting local(HKEY_CURRENT_USER, kShellFolders, L"Local Settings",
                            L"C:\\local");
  EXPECT_EQ(special_folder(kFolderLocalSettings, false), L"C:\\local");
}

}  // namespace
}  // namespace vel
