#ifndef VEL_USAGE_BETAMESSAGE_H_
#define VEL_USAGE_BETAMESSAGE_H_

#include <string>

#include "browser/OpenInDefaultBrowser.h"

namespace vel {

// Shows the message that a reply of the statistics host carries, once for each
// of its ids: /msg="<text>" /id="<id>", and /url="<page>" for one that asks
// whether a page shall be opened. The reply is UTF-8 that was widened as ANSI.
// Blocks until the user has answered. A page that isn't a plain http or https
// URL isn't opened, which is logged: it becomes the parameters of a program.
// `open` is there for tests.
void show_beta_message(
    const std::wstring& reply,
    void (*open)(const std::wstring& url) = &open_in_default_browser);

}  // namespace vel

#endif  // VEL_USAGE_BETAMESSAGE_H_
