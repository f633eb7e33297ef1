// What the menu's items set going. Each starts background work and returns.
#ifndef VEL_COMPANIONS_MENUS_OPENTASKS_H_
#define VEL_COMPANIONS_MENUS_OPENTASKS_H_

#include <string>

#include "menus/MenusCore.h"

namespace velmenus {

// Opens a file or URL in a session of the configuration that is chosen now.
void open_in_session(const MenusCorePtr& core, const std::wstring& file);
// Opens the product's start page in a session.
void open_browser(const MenusCorePtr& core);
// The same outside of every session, by the user's own default browser.
void open_unprotected_browser(const MenusCorePtr& core);

void start_session(const MenusCorePtr& core, const std::wstring& configuration);
void end_session(const MenusCorePtr& core, const std::wstring& configuration);

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_OPENTASKS_H_
