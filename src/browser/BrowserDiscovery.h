// Which browsers there are, and which one the user has chosen. Empty is the
// answer for what isn't found, and nothing is logged. No state, any thread.
#ifndef VEL_BROWSER_BROWSERDISCOVERY_H_
#define VEL_BROWSER_BROWSERDISCOVERY_H_

#include <cstdint>
#include <string>

namespace vel {

enum class BrowserKind {
  kDefault = 0,             // The user's default browser.
  kInternetExplorer32 = 1,  // As the 32-bit view of the registry has it.
  kInternetExplorer = 2,    // As the process's own view has it.
  kFirefox = 3,
  kOther = 4,  // Only as a result of browser_kind_of.
};

// Internet Explorer's path. `view` is one of Registry.h.
std::wstring find_iexplore(std::uint32_t view);

std::wstring browser_path(BrowserKind kind);

// The command that the system has for http links.
std::wstring default_browser_command();

// The path of the user's default browser. Only Internet Explorer and Firefox
// are served; any other choice gives Internet Explorer. What can't be found is
// handed back as it stands, as a short name or a whole command line.
//
// When the product itself is the default browser, its associations are removed
// from the user's registry first, so the answer is a real browser.
std::wstring default_browser_path();

// What a path, a name or a command line starts; null for the default browser.
BrowserKind browser_kind_of(const wchar_t* path);

// 6 when there is no version to be read.
std::uint8_t ie_major_version();

}  // namespace vel

#endif  // VEL_BROWSER_BROWSERDISCOVERY_H_
