// Where things lie: parts of paths, long names, the product's files.
#include "foundation/Paths.h"

#include <gtest/gtest.h>

#include "foundation/Environment.h"
#include "foundation/LongPath.h"
#include "foundation/Message.h"
#include "foundation/Product.h"
#include "foundation/ReadFile.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"
#include "support/LogCapture.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Thrown.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScopedVariable;
using test::ScratchDirectory;

const HKEY kUser = HKEY_CURRENT_USER;
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

TEST(LongPath, LooksEachComponentUpOnceAndNoPathThatCannotBe) {
  static std::size_t look_ups;
  static DWORD result;
  // Of `count` short components; each is found, or none is.
  const auto looked_up = [](std::size_t count, bool found,
                            const wchar_t* first = L"C:") {
    std::wstring path = first;
    for (std::size_t i = 0; i < count; ++i) path += L"\\~";
    look_ups = 0;
    result = found ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
    lengthen_path(path, [](const std::wstring&, std::wstring&) {
      return ++look_ups, result;
    });
    return look_ups;
  };
  EXPECT_EQ(looked_up(1000, true), 1000u);
  EXPECT_EQ(looked_up(2000, true), 2000u);
  EXPECT_EQ(looked_up(100000, true), looked_up(50000, true));
  EXPECT_EQ(looked_up(2000, false), 1u);
  // What isn't there may be left again.
  EXPECT_EQ(looked_up(2000, false, L"C:\\x\\.."), 2000u);
  const std::wstring longest(kLongestPath + 1, L'~');
  EXPECT_EQ(long_path(longest), longest);
}

TEST_F(PathsTest, FindsTheInstallationInItsOrder) {
  const std::wstring uninstall =
      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
  EXPECT_EQ(install_path(), L"");
  RegSetString(kUser, kProductKey, L"InstallPath", L"C:\\user\\", 0);
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

TEST_F(PathsTest, FindsWhat32BitProgramsHave) {
  EXPECT_TRUE(EqualsNoCase(GetWow64ModulePath(L"c:\\VELDIR\\a\\x.dll"),
                           L"C:\\veldir\\WOW64\\a\\x.dll"));
  EXPECT_EQ(GetWow64ModulePath(L"D:\\a\\x.dll"), L"D:\\a\\WOW64\\x.dll");
  EXPECT_FALSE(is_wow64_process(nullptr));
  const std::wstring directory = wow64_system_directory();
  EXPECT_TRUE(directory.empty() ||
              (FileExists(directory) && !directory.ends_with(L'\\')));
}

TEST_F(PathsTest, PublishesTheFoldersThatAreKnown) {
  const ScopedVariable profile(L"USERPROFILE", L"C:\\who\\");
  publish_folder_names();
  EXPECT_EQ(expand_env(L"%CSIDL_PROFILE%\\x", true), L"C:\\who\\x");
  EXPECT_EQ(get_env(L"csidl_temp"), without_slash(get_env(L"TEMP")));
  for (const wchar_t* name : {L"CSIDL_PROFILE", L"CSIDL_TEMP"}) {
    set_env(name, L"", false);
  }
}

TEST(ReadFile, ReadsWholeFilesAndThrowsForOthers) {
  const TempDirectory made;
  EXPECT_TRUE(FileExists(made.path()));
  EXPECT_NE(TempDirectory().path(), made.path());
  const ScratchDirectory scratch;
  const std::wstring path = scratch.Write(L"x", std::string("a\0b", 3));
  EXPECT_EQ(readFile(path), (std::vector<BYTE>{'a', 0, 'b'}));
  EXPECT_EQ(test::Thrown([] { readFile(L"C:\\none"); }),
            "readFile: CreateFile(C:\\none) failed, error=2");
  RemoveDirectoryW(made.path().c_str());
}

TEST(Message, HasANumberOfItsOwn) {
  const test::LogCapture log(4);
  const UINT number = RegisterDummyMsg();
  EXPECT_EQ(number, RegisterWindowMessageW(L"Brindlemar_DummyWindowsMsg"));
  EXPECT_EQ(GetDummyMsg(), number);
  EXPECT_TRUE(log.Contains(4, FormatWide(L"RegisterDummyMsg: 0x%x", number)));
  EXPECT_EQ(message_text(L"\\??\\C:\\x"), L"path: \\??\\C:\\x");
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
