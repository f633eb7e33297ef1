#ifndef VEL_USAGE_BETAMESSAGE_H_
#define VEL_USAGE_BETAMESSAGE_H_

#include <string>

namespace vel {

// Shows the message that a reply of the statistics host carries, once for each
// of its ids: /msg="<text>" /id="<id>", and /url="<page>" for one that asks
// whether a page shall be opened. The reply is UTF-8 that was widened as ANSI.
// Blocks until the user has answered.
void show_beta_message(const std::wstring& reply);

}  // namespace vel

#endif  // VEL_USAGE_BETAMESSAGE_H_
