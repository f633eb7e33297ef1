#include "browser/SearchSettings.h"

#include <windows.h>
#include <objbase.h>

#include <iterator>
#include <string>

#include "browser/BrowserDiscovery.h"
#include "browser/FirefoxProfiles.h"
#include "browser/MozillaPrefsFile.h"
#include "browser/SearchOptions.h"
#include "foundation/CodePageConverter.h"
#include "foundation/I18N.h"
#include "foundation/PathParts.h"
#include "foundation/Paths.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

constexpr wchar_t kScopesKey[] =
    L"Software\\Microsoft\\Internet Explorer\\SearchScopes";
constexpr wchar_t kDefaultScope[] = L"DefaultScope";
constexpr wchar_t kMainKey[] = L"Software\\Microsoft\\Internet Explorer\\Main";
constexpr wchar_t kStartPageValue[] = L"Start Page";
constexpr wchar_t kSearchFolder[] = L"Lumenaudit\\search\\";
constexpr wchar_t kEngineFile[] = L"askcom.xml";
constexpr char kSelectedEngine[] = "browser.search.selectedEngine";
constexpr char kHomePage[] = "browser.startup.homepage";
constexpr wchar_t kBlankPage[] = L"about:blank";
constexpr std::uint8_t kFirstWithScopes = 7;
constexpr std::uint8_t kFirstWithStartPage = 6;
constexpr DWORD kScopeNameRoom = 1024;

std::wstring user_text(const wchar_t* key, const wchar_t* value) {
  return RegGetString(HKEY_CURRENT_USER, key, value, kRegViewDefault);
}

void set_user_text(const std::wstring& key, const wchar_t* value,
                   const std::wstring& text) {
  RegSetString(HKEY_CURRENT_USER, key, value, text, kRegViewDefault);
}

std::wstring scope_key(const std::wstring& name) {
  return kScopesKey + (L'\\' + name);
}

// Puts the machine's default scope in the place of the partner's.
void leave_scope(HKEY scopes, const std::wstring& name, bool removing) {
  if (removing) RegDeleteKeyW(scopes, name.c_str());
  set_user_text(kScopesKey, kDefaultScope,
                RegGetString(HKEY_LOCAL_MACHINE, kScopesKey, kDefaultScope,
                             kRegViewDefault));
}

void choose_scope(const std::wstring& name) {
  if (user_text(kScopesKey, kDefaultScope) != name) {
    set_user_text(kScopesKey, kDefaultScope, name);
  }
}

// Whether there was a scope of the partner. A deleted scope makes the next one
// slip through: it moves to the index that has been looked at. That stays so.
bool update_scopes(bool removing) {
  const RegKeyHolder scopes =
      RegOpen(HKEY_CURRENT_USER, kScopesKey, false, kRegViewDefault);
  bool found = false;
  wchar_t name[kScopeNameRoom];
  for (DWORD index = 0;
       RegEnumKeyW(scopes.get(), index, name, kScopeNameRoom) == ERROR_SUCCESS;
       ++index) {
    if (user_text(scope_key(name).c_str(), L"displayname") != kPartnerName) {
      continue;
    }
    if (opt_def_browser_search()) {
      choose_scope(name);
    } else {
      leave_scope(scopes.get(), name, removing);
    }
    found = true;
  }
  return found;
}

void write_scope(const std::wstring& key) {
  const std::wstring site = std::wstring(L"http://") + kPartnerHost;
  set_user_text(key, L"URL",
                site + L"/web?q={searchTerms}&qsrc=2871&o=101817&l=dis");
  set_user_text(key, L"FaviconURL", site + L"/favicon.ico");
  set_user_text(key, L"DisplayName", kPartnerName);
  set_user_text(key, L"FaviconPath",
                product_directory() + kSearchFolder + L"Ask.ico");
}

bool add_scope() {
  static_cast<void>(CoInitialize(nullptr));
  GUID guid = {};
  const bool made = SUCCEEDED(CoCreateGuid(&guid));
  if (made) {
    const std::wstring name = GuidToText(guid);
    const std::wstring key = scope_key(name);
    static_cast<void>(RegOpen(HKEY_CURRENT_USER, key, true, kRegViewDefault));
    write_scope(key);
    if (opt_def_browser_search()) {
      set_user_text(kScopesKey, kDefaultScope, name);
    }
  }
  CoUninitialize();
  return made;
}

// The directory of Firefox's default profile with a backslash, or empty.
std::wstring profile_directory() {
  std::wstring directory = default_firefox_profile_dir();
  if (!directory.empty() && directory.back() != L'\\') directory += L'\\';
  return directory;
}

void update_firefox_search(bool removing) {
  const std::wstring profile = profile_directory();
  if (profile.empty()) return;
  MozillaPrefsFile prefs(profile + L"prefs.js");
  const std::wstring engines = profile + L"searchplugins\\";
  make_directories(engines);
  const std::wstring engine = engines + kEngineFile;
  if (!opt_def_browser_search()) {
    if (removing) DeleteFileW(engine.c_str());
    // Firefox goes back to its own engine.
    prefs.set_string(kSelectedEngine, "");
    return;
  }
  const std::wstring shipped =
      product_directory() + kSearchFolder + kEngineFile;
  CopyFileW(shipped.c_str(), engine.c_str(), TRUE);
  prefs.set_string(kSelectedEngine, narrow(kPartnerName));
}

void update_explorer_start_page(const std::wstring& page) {
  if (opt_browser_startpage() && ie_major_version() >= kFirstWithStartPage) {
    set_user_text(kMainKey, kStartPageValue, page);
  } else if (user_text(kMainKey, kStartPageValue).find(page) !=
             std::wstring::npos) {
    set_user_text(kMainKey, kStartPageValue, kBlankPage);
  }
}

void update_firefox_start_page(const std::wstring& page) {
  const std::wstring profile = profile_directory();
  if (profile.empty()) return;
  MozillaPrefsFile prefs(profile + L"prefs.js");
  const std::string url = narrow(page);
  std::string chosen;
  if (opt_browser_startpage()) {
    prefs.set_string(kHomePage, url);
  } else if (prefs.get_string(kHomePage, chosen) &&
             chosen.find(url) != std::string::npos) {
    prefs.set_string(kHomePage, narrow(kBlankPage));
  }
}

}  // namespace

bool UpdateSearchSettings(bool removing) {
  bool has_scope = false;
  if (ie_major_version() >= kFirstWithScopes) {
    has_scope = update_scopes(removing) || add_scope();
  }
  update_firefox_search(removing);
  return has_scope;
}

void UpdateStartPage() {
  const std::wstring page = load_string(VEL_STRING_START_PAGE);
  // Without the texts every page would count as ours.
  if (page.empty()) return;
  update_explorer_start_page(page);
  update_firefox_start_page(page);
}

}  // namespace vel
