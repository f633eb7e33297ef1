#ifndef VEL_BROWSER_OPENINDEFAULTBROWSER_H_
#define VEL_BROWSER_OPENINDEFAULTBROWSER_H_

#include <string>

namespace vel {

// Starts the user's default browser with `url` as its parameters. The browser
// is named directly; the shell's association for the URL plays no part. Whether
// it started isn't reported.
void open_in_default_browser(const std::wstring& url);

}  // namespace vel

#endif  // VEL_BROWSER_OPENINDEFAULTBROWSER_H_
