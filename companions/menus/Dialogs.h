// The plug-in's dialogs. Each opens on a thread of its own; the call returns
// at once. One that is open already comes to the front.
#ifndef VEL_COMPANIONS_MENUS_DIALOGS_H_
#define VEL_COMPANIONS_MENUS_DIALOGS_H_

#include <string>

#include "menus/MenusCore.h"

namespace velmenus {

// Asks for a file and opens it in a session.
void open_file_dialog(const MenusCorePtr& core);
void open_configure_dialog(const MenusCorePtr& core);
void open_about_dialog(const MenusCorePtr& core);
// Shows a message that something failed.
void show_message(const MenusCorePtr& core, const std::wstring& text);

// What follows a change of the settings: the other plug-ins hear of it. Tells
// the user when `error` says that they couldn't be written.
void settings_written(const MenusCorePtr& core, unsigned long error);

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_DIALOGS_H_
