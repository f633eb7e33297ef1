// The user's Firefox profiles, as profiles.ini lists them. From one thread at a
// time.
//
// There are two readings of the file, kept apart on purpose: the quick one goes
// by the section names Profile0, Profile1 and so on and ends at the first gap,
// the list takes all sections that have a name. They differ in what they take
// for the default profile, too.
#ifndef VEL_BROWSER_FIREFOXPROFILES_H_
#define VEL_BROWSER_FIREFOXPROFILES_H_

#include <list>
#include <memory>
#include <string>

namespace vel {

struct FirefoxProfile {
  // The directory, with a backslash at the end; it need not exist. Slashes of
  // the file are kept.
  std::wstring path;
  bool is_default = false;
  std::wstring name;
};

// In the order of the file.
using FirefoxProfileList = std::list<std::shared_ptr<FirefoxProfile>>;

// The directory of the default profile by the quick reading, without a
// backslash at the end unless the file has one; empty when there is none or it
// doesn't exist. The first profile with a number other than 0 for Default is
// taken, or else the last one.
std::wstring default_firefox_profile_dir();

// The profiles of an ini file, by default the user's own. The default one has
// exactly 1 for Default. A file that can't be read is an empty list.
FirefoxProfileList list_firefox_profiles(const std::wstring& ini_path = {});

// The user's profile of that name, with an empty name the default one; the
// first of the list when there is no such profile, null when there is none.
std::shared_ptr<FirefoxProfile> find_firefox_profile(const std::wstring& name);

// The page that Firefox opens with, by prefs.js in `directory`, which ends in a
// backslash: the first home page of the file, or the browser's own page when it
// has none or doesn't open it.
std::wstring firefox_start_page(const std::wstring& directory);

}  // namespace vel

#endif  // VEL_BROWSER_FIREFOXPROFILES_H_
