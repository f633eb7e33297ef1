#include "browser/BrowserDiscovery.h"

#include <algorithm>
#include <utility>

#include "browser/OpenInDefaultBrowser.h"
#include "browser/ProgramSearch.h"
#include "support/ChildProcess.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Wait.h"

namespace vel {
namespace {

const HKEY kUser = HKEY_CURRENT_USER;
const HKEY kMachine = HKEY_LOCAL_MACHINE;
const std::wstring kAppPaths =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";
const std::wstring kClasses = L"Software\\Classes\\";
const std::wstring kOpen = L"\\Shell\\Open\\Command";
const std::wstring kOwn = L"_Brindlemar";

class BrowserDiscoveryTest : public testing::Test {
 protected:
  static void SetUser(const std::wstring& key, const std::wstring& name,
                      const std::wstring& text) {
    RegSetString(kUser, key, name, text, 0);
  }
  static void SetMachine(const std::wstring& key, const std::wstring& name,
                         const std::wstring& text) {
    RegSetString(kMachine, key, name, text, 0);
  }
  // The command of http links, by the user's choice or as the classes have it.
  static void SetDefault(const std::wstring& command, bool choice) {
    SetUser(kClasses + (choice ? L"App.1" : L"http") + kOpen, L"", command);
    SetUser(
        L"Software\\Microsoft\\Windows\\Shell\\Associations\\"
        L"UrlAssociations\\http\\UserChoice",
        L"Progid", choice ? L"App.1" : L"");
  }

  test::ScopedRegistry _registry;
  test::ScratchDirectory _scratch;
  const std::wstring _firefox = _scratch.Write(L"Fire Fox\\firefox.exe", "MZ");
  const std::wstring _explorer = _scratch.Write(L"ie\\iexplore.exe", "MZ");
  const std::wstring _other = _scratch.Write(L"other\\web.exe", "MZ");
};

TEST_F(BrowserDiscoveryTest, FindsProgramsInTextsOfAllKinds) {
  const test::ScopedVariable path(L"PATH", _scratch.File(L"other"));
  SetUser(kAppPaths + L"mine.exe", kOwn, _firefox);
  SetMachine(kAppPaths + L"mine.exe", kOwn, _other);
  const std::wstring bare = _scratch.File(L"Fire Fox\\firefox");
  const std::pair<std::wstring, std::wstring> rows[] = {
      {L"", L""},
      {_firefox, _firefox},
      {bare, _firefox},
      {L"\"" + _firefox + L"\" -url \"%1\"", _firefox},
      {L"\"" + bare + L"\"", _firefox},
      {_firefox + L" -url %1", _firefox},
      {bare + L" C:\\x y", _firefox},
      // A quoted text is one path, blanks and all.
      {L"\"" + _firefox + L" -url\"", L""},
      {_firefox + L"x", L""},
      {L"mine.exe", _firefox},
      {L"mine.exe -x C:\\y", _firefox},
      {L"web", _other},
      {L"web.exe /s", _other},
      {L"nothing here", L""},
      // Files that are there, by names that could lie on the network.
      {L"\\\\?\\" + _firefox, L""}};
  for (const auto& [text, found] : rows) {
    EXPECT_EQ(find_program(text, L".exe"), found) << text;
    EXPECT_EQ(find_executable(text), found) << text;
  }
  const std::wstring script = _scratch.Write(L"other\\only.cmd", "");
  EXPECT_EQ(find_executable(_scratch.File(L"other\\only")), script);
  const test::ScopedVariable variable(L"VELTEST_DIR", _scratch.path());
  EXPECT_EQ(find_executable(L"%VELTEST_DIR%\\other\\web"), _other);
}

TEST_F(BrowserDiscoveryTest, LooksIntoThePathOfAKeyWhoseFileIsAnother) {
  const auto find = [](const wchar_t* name) {
    return find_in_app_paths(kUser, name, L".exe", 0);
  };
  const test::ScopedVariable directory(L"VELTEST_DIR", _scratch.path());
  // On the system's path, which isn't the key's.
  const test::ScopedVariable path(L"PATH", _scratch.File(L"other"));
  const struct {
    std::wstring value, path, found;
  } rows[] = {{_other, L"", _other},
              {_other, _scratch.File(L"Fire Fox"), _firefox},
              {_other, L"%VELTEST_DIR%\\Fire Fox", _firefox},
              {_other, _scratch.File(L"ie"), _other},
              {L"", _scratch.File(L"Fire Fox"), _firefox},
              {_scratch.File(L"ie\\"), _scratch.File(L"Fire Fox"), _firefox},
              {L"", _scratch.File(L"ie"), L""},
              {L"\"" + _firefox + L"\" -x", _scratch.File(L"ie"), _firefox}};
  for (const auto& row : rows) {
    SetUser(kAppPaths + L"firefox.exe", L"", row.value);
    SetUser(kAppPaths + L"firefox.exe", L"Path", row.path);
    for (const wchar_t* name : {L"firefox", L"firefox.exe"}) {
      EXPECT_EQ(find(name), row.found) << row.value << row.path;
    }
  }
  SetUser(kAppPaths + L"web.exe", L"Path", L"%VELTEST_NONE%");
  EXPECT_EQ(find(L"web.exe"), L"");
}

TEST_F(BrowserDiscoveryTest, TheDefaultIsOneOfTheTwoBrowsers) {
  SetMachine(kAppPaths + L"IEXPLORE.EXE", L"", _explorer);
  EXPECT_EQ(default_browser_path(), _explorer);
  SetDefault(L"\"" + _other + L"\" %1", false);
  EXPECT_EQ(default_browser_command(), L"\"" + _other + L"\" %1");
  EXPECT_EQ(default_browser_path(), _explorer);
  SetDefault(L"\"" + _firefox + L"\" -url %1", true);
  EXPECT_EQ(default_browser_path(), _firefox);
  EXPECT_EQ(browser_path(BrowserKind::kDefault), _firefox);
  EXPECT_EQ(browser_kind_of(nullptr), BrowserKind::kFirefox);
  SetDefault(L"C:\\gone\\FireFox.exe %1", true);
  EXPECT_EQ(default_browser_path(), L"C:\\gone\\FireFox.exe %1");
}

TEST_F(BrowserDiscoveryTest, TheProductGivesUpItsAssociations) {
  const wchar_t* const own[] = {L"http",  L"https",  L"ftp",
                                L".html", L".shtml", L".xml"};
  const auto count = [&own] {
    return std::ranges::count_if(own, [](const std::wstring& name) {
      return RegKeyExists(kUser, kClasses + name, 0);
    });
  };
  SetMachine(kAppPaths + L"IEXPLORE.EXE", L"", _explorer);
  for (auto name : own) SetUser(kClasses + name + L"\\x", L"", L"y");
  SetDefault(_other, false);
  EXPECT_EQ(default_browser_path(), _explorer);
  EXPECT_EQ(count(), 6);
  SetDefault(L"\"C:\\firefox\\BrindleMar.exe\" \"%1\"", false);
  EXPECT_EQ(default_browser_path(), _explorer);
  EXPECT_EQ(count(), 0);
  EXPECT_EQ(default_browser_command(), L"");
  EXPECT_TRUE(RegKeyExists(kUser, L"Software\\Classes", 0));
}

TEST_F(BrowserDiscoveryTest, TellsKindsAndVersions) {
  EXPECT_EQ(browser_kind_of((L"\"" + _firefox + L"\" -x").c_str()),
            BrowserKind::kFirefox);
  EXPECT_EQ(browser_kind_of(_explorer.c_str()),
            BrowserKind::kInternetExplorer32);
  EXPECT_EQ(browser_kind_of(_other.c_str()), BrowserKind::kOther);

  const std::wstring key = L"SOFTWARE\\Microsoft\\Internet Explorer";
  EXPECT_EQ(ie_major_version(), 6);
  const std::pair<const wchar_t*, int> versions[] = {
      {L"", 6}, {L"8.0.6001.18702", 8}, {L"11", 11}, {L".5", 6}, {L"x.1", 0}};
  for (const auto& [text, major] : versions) {
    SetMachine(key, L"Version", text);
    EXPECT_EQ(ie_major_version(), major) << text;
  }
}

// The browser: it leaves what it was started with.
VEL_CHILD_MAIN(IsTheBrowser) {
  return CreateDirectoryW(argument.c_str(), nullptr) ? 0 : 1;
}

TEST_F(BrowserDiscoveryTest, OpensAUrlInTheBrowserItself) {
  SetDefault(L"\"" + test::TestProgramPath() + L"\" as firefox", false);
  const std::wstring mark = _scratch.File(L"opened");
  open_in_default_browser(L"--vel-child IsTheBrowser \"" + mark + L"\"");
  EXPECT_TRUE(test::WaitUntil([&] { return test::FileExists(mark); }));
}

}  // namespace
}  // namespace vel
