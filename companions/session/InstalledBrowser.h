// The way out when the product itself is the user's browser: a session must
// not pass a URL back to the tray that it came from.
#ifndef VEL_COMPANIONS_SESSION_INSTALLEDBROWSER_H_
#define VEL_COMPANIONS_SESSION_INSTALLEDBROWSER_H_

#include <string>

namespace velul {

// Whether `command_line` starts a program of the product's own directory, the
// one that VELDIR names. All but SessionView are taken to hand a URL to the
// tray.
bool passes_urls_to_the_product(const std::wstring& command_line);

// The command that starts a registered browser other than the product, without
// arguments: the default one if it can be, else the first in the user's or the
// machine's list. Empty when there is none.
std::wstring installed_browser();

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_INSTALLEDBROWSER_H_
