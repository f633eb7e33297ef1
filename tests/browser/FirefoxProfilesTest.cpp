#include "browser/FirefoxProfiles.h"

#include <gtest/gtest.h>

#include <sstream>

#include "foundation/Product.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

class User {
 public:
  // The profiles that exist are directories below Firefox's own.
  explicit User(const std::string& ini, const std::wstring& existing = L"")
      : _app_data(L"APPDATA", _scratch.path()) {
    if (!ini.empty()) _scratch.Write(L"Mozilla\\Firefox\\profiles.ini", ini);
    std::wistringstream names(existing);
    for (std::wstring name; names >> name;) {
      _scratch.Write(L"Mozilla\\Firefox\\" + name + L"\\prefs.js", "");
    }
  }

  // `path` without what stands before Firefox's directory.
  std::wstring relative(const std::wstring& path) const {
    const std::wstring base = _scratch.path() + L"\\Mozilla\\Firefox\\";
    const bool is_below =
        _wcsnicmp(path.c_str(), base.c_str(), base.size()) == 0;
    return is_below ? L"~" + path.substr(base.size()) : path;
  }
  // name|path|default, one a line.
  std::wstring list() const {
    std::wstring text;
    for (const auto& profile : list_firefox_profiles()) {
      text += profile->name + L"|" + relative(profile->path) +
              (profile->is_default ? L"|1\n" : L"|0\n");
    }
    return text;
  }
  std::wstring quick() const { return relative(default_firefox_profile_dir()); }
  std::wstring found(const std::wstring& name) const {
    const auto profile = find_firefox_profile(name);
    return profile ? profile->name : L"null";
  }

 private:
  const test::ScratchDirectory _scratch;
  const test::ScopedVariable _app_data;
};

TEST(FirefoxProfiles, ReadsProfilesIniInTwoWays) {
  const std::string two =
      "[General]\r\nStartWithLastProfile=1\r\n\r\n"
      "[Profile0]\r\nName=a\r\nIsRelative=1\r\nPath=Profiles/a.x\r\n";
  const struct {
    std::string ini;
    std::wstring existing, quick, list, default_name;
  } rows[] = {
      {"", L"", L"", L"", L"null"},
      {two + "[Profile1]\nName=b\nPath=Profiles/b\nIsRelative=1\n",
       L"Profiles\\a.x Profiles\\b", L"~Profiles\\b",
       L"a|~Profiles/a.x\\|0\nb|~Profiles/b\\|0\n", L"a"},
      // The marked one has gone.
      {two + "Default=1\n[Profile1]\nName=b\nPath=b\n", L"b", L"",
       L"a|~Profiles/a.x\\|1\nb|b\\|0\n", L"a"},
      // A gap, another kind of mark, another drive.
      {two + "[Profile2]\nName=c\nPath=D:\\ff\\p1\nIsRelative=0\nDefault=1\n",
       L"Profiles\\a.x", L"~Profiles\\a.x",
       L"a|~Profiles/a.x\\|0\nc|D:\\ff\\p1\\|1\n", L"c"},
      {"[Profile0]\nPath=a\n[Profile1]\nName=b\nPath=b\nDefault=2\n"
       "[Profile2]\nName=c\nPath=c\n",
       L"a b c", L"~b", L"b|b\\|0\nc|c\\|0\n", L"b"},
      {"[Profile0]\nName=only\n", L"", L"", L"only||0\n", L"only"},
      {"[Profile0]\nName=J\xfcrgen\nIsRelative=1\nPath=J\xfcrgen/p\n",
       L"J\u00fcrgen\\p", L"~J\u00fcrgen\\p",
       L"J\u00fcrgen|~J\u00fcrgen/p\\|0\n", L"J\u00fcrgen"}};
  for (const auto& row : rows) {
    const User user(row.ini, row.existing);
    SCOPED_TRACE(row.ini);
    EXPECT_EQ(user.quick(), row.quick);
    EXPECT_EQ(user.list(), row.list);
    EXPECT_EQ(user.found(L""), row.default_name);
  }
  const User user(two + "[Profile1]\nName=b\nPath=b\n");
  EXPECT_EQ(user.found(L"b"), L"b");
  EXPECT_EQ(user.found(L"B"), L"a") << "the first of the list";
}

TEST(FirefoxProfiles, TellsTheStartPage) {
  const std::string home = "user_pref(\"browser.startup.homepage\", \"";
  const std::string page = "user_pref(\"browser.startup.page\", ";
  const std::wstring stock = kFirefoxStartPage;
  const std::pair<std::string, std::wstring> rows[] = {
      {"", stock},
      {home + "example.org\");", L"http://example.org"},
      {page + "1);\r\n" + home + "https://a.test/\");", L"https://a.test/"},
      {page + "0);\n" + home + "example.org\");", stock},
      {page + "3);\n" + page + "1);" + home + "a\");" + home + "b\");",
       L"http://a"},
      {home + "\");", stock},
      {home + "\xfc.test\");", L"http://\u00fc.test"},
      {std::string(1, '\0') + home + "a.test", L"http://a.test"},
      {home + std::string(1 << 20, 'x'),
       L"http://" + std::wstring(1 << 20, 'x')}};
  for (const auto& [text, expected] : rows) {
    const test::ScratchDirectory scratch;
    scratch.Write(L"prefs.js", text);
    EXPECT_EQ(firefox_start_page(scratch.path() + L"\\"), expected);
  }
  EXPECT_EQ(firefox_start_page(L"C:\\missing\\"), stock);
}

}  // namespace
}  // namespace vel
