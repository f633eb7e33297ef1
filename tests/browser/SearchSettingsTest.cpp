#include "browser/SearchSettings.h"

#include <cwchar>
#include <sstream>

#include "browser/SearchOptions.h"
#include "foundation/CodePageConverter.h"
#include "foundation/Product.h"
#include "support/ChildProcess.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

const HKEY kUser = HKEY_CURRENT_USER;
const HKEY kMachine = HKEY_LOCAL_MACHINE;
const std::wstring kExplorer = L"Software\\Microsoft\\Internet Explorer";
const std::wstring kScopes = kExplorer + L"\\SearchScopes";
const std::wstring kOptions = L"Software\\Tessavane\\VEL\\Settings\\Search";
const std::wstring kPrefs = L"Mozilla\\Firefox\\P\\prefs.js";
const std::string kHead = "# Mozilla User Preferences\r\n\r\n";

// A user with a profile of Firefox and a product of the test's own.
class SearchSettingsTest : public testing::Test {
 protected:
  SearchSettingsTest() {
    RegSetString(kMachine, L"Software\\Tessavane\\VEL\\ComponentRedirect",
                 L"VELRCS.dll",
                 test::TestProgramPath() + L"\\..\\..\\product\\VELRCS.dll", 0);
    _scratch.Write(L"Lumenaudit\\search\\askcom.xml", "shipped");
    _scratch.Write(L"Mozilla\\Firefox\\profiles.ini",
                   "[Profile0]\nName=p\nPath=P\n");
    _scratch.Write(kPrefs, "");
  }

  static std::wstring Get(const std::wstring& key, const std::wstring& name) {
    return RegGetString(kUser, key, name, 0);
  }
  static void Begin(const wchar_t* version, bool option) {
    RegSetString(kMachine, kExplorer, L"Version", version, 0);
    RegSetString(kMachine, kScopes, L"DefaultScope", L"machine", 0);
    for (const wchar_t* name :
         {L"opt_def_browser_search", L"opt_browser_startpage"}) {
      RegSetDword(kUser, kOptions, name, option, 0);
    }
  }
  // The scopes as name=displayname, a new one without its name, and a star at
  // the default one; then DefaultScope itself unless it is a new one.
  static std::wstring Scopes() {
    const std::wstring chosen = Get(kScopes, L"DefaultScope");
    std::wstring text;
    wchar_t name[256];
    const RegKeyHolder key = RegOpen(kUser, kScopes, false, 0);
    for (DWORD i = 0; RegEnumKeyW(key.get(), i, name, 256) == 0; ++i) {
      const bool added = std::wcslen(name) == 38;
      text += (added ? L"new" : name) +
              (chosen == name ? L"*=" : L"=" + std::wstring()) +
              Get(kScopes + L"\\" + name, L"DisplayName") + L" ";
    }
    return text + (chosen.size() == 38 ? L"" : chosen);
  }

  test::ScopedRegistry _registry;
  const test::ScratchDirectory _scratch;
  const test::ScopedVariable _app_data{L"APPDATA", _scratch.path()};
  const test::ScopedVariable _product{L"VELDIR", _scratch.path()};
};

TEST_F(SearchSettingsTest, BringsExplorersScopesInLine) {
  const struct {
    const wchar_t* version;
    bool option, removing;
    std::wstring scopes;  // the names of the scopes 1, 2, ... before
    const wchar_t* after;
  } rows[] = {
      {L"6.0", true, false, L"", L"old"},
      {L"", true, false, L"Lumenaudit", L"1=Lumenaudit old"},
      // A missing scope is always added, and found by the next run.
      {L"7.0", false, false, L"", L"new=Lumenaudit old"},
      {L"8.0", false, true, L"x", L"1=x new=Lumenaudit old"},
      {L"8.0", true, false, L"", L"new*=Lumenaudit "},
      {L"8.0", true, false, L"lumenaudit", L"1=lumenaudit new*=Lumenaudit "},
      {L"9.0", true, false, L"Lumenaudit", L"1*=Lumenaudit 1"},
      {L"9.0", true, true, L"x Lumenaudit", L"1=x 2*=Lumenaudit 2"},
      {L"9.0", false, false, L"Lumenaudit", L"1=Lumenaudit machine"},
      // Of two neighbours the second slips through.
      {L"9.0", false, true, L"Lumenaudit Lumenaudit x",
       L"2=Lumenaudit 3=x machine"}};
  for (const auto& [version, option, removing, scopes, after] : rows) {
    SHDeleteKeyW(kUser, kScopes.c_str());
    Begin(version, option);
    std::wistringstream names(scopes);
    std::wstring name;
    for (int i = 1; names >> name; ++i) {
      RegSetString(kUser, kScopes + L"\\" + std::to_wstring(i), L"displayname",
                   name, 0);
    }
    RegSetString(kUser, kScopes, L"DefaultScope", L"old", 0);
    EXPECT_EQ(UpdateSearchSettings(removing), std::wcscmp(version, L"7") > 0);
    EXPECT_EQ(Scopes(), after);
  }
}

TEST_F(SearchSettingsTest, AppliesTheStartPageToBothBrowsers) {
  const std::wstring page = kStartPage;
  const struct {
    const wchar_t* version;
    bool option;
    std::wstring before, explorer, firefox;
  } rows[] = {
      {L"8.0", true, L"http://own.test/", page, page},
      {L"6.0", true, L"", page, page},
      {L"5.5", true, L"x" + page + L"y", L"about:blank", page},
      {L"8.0", false, L"http://own.test/", L"http://own.test/",
       L"http://own.test/"},
      {L"8.0", false, page + L"?from=x", L"about:blank", L"about:blank"},
      {L"8.0", false, L"", L"", L""}};
  const auto line = [](const std::wstring& text) {
    return R"(user_pref("browser.startup.homepage", ")" + narrow(text) +
           "\");\r\n";
  };
  for (const auto& row : rows) {
    Begin(row.version, row.option);
    RegSetString(kUser, kExplorer + L"\\Main", L"Start Page", row.before, 0);
    _scratch.Write(kPrefs, line(row.before));
    UpdateStartPage();
    EXPECT_EQ(Get(kExplorer + L"\\Main", L"Start Page"), row.explorer);
    EXPECT_EQ(_scratch.Read(kPrefs), kHead + line(row.firefox));
  }
  _scratch.Write(L"Mozilla\\Firefox\\profiles.ini", "[Profile0]\nPath=Q\n");
  Begin(L"8.0", true);
  UpdateStartPage();
  UpdateSearchSettings(false);
  EXPECT_FALSE(test::FileExists(_scratch.File(L"Mozilla\\Firefox\\Q")));
}

TEST_F(SearchSettingsTest, ReadsAndEndsTheOptions) {
  EXPECT_FALSE(opt_search_box() || is_search_feature_offered());
  RegSetDword(kUser, kOptions, L"opt_search_box", 7, 0);
  RegSetDword(kMachine, kProductKey, L"SearchFeature", 1, 0);
  EXPECT_TRUE(opt_search_box() && is_search_feature_offered());
  EXPECT_TRUE(DeleteSearchFeature());
  EXPECT_FALSE(is_search_feature_offered() || DeleteSearchFeature());
}

}  // namespace
}  // namespace vel
