// What can be written, found out by writing.
#ifndef VEL_TOOLS_SESSIONVIEW_WRITEFACTS_H_
#define VEL_TOOLS_SESSIONVIEW_WRITEFACTS_H_

#include <windows.h>

#include <string>

#include "SessionView/Facts.h"

namespace sessionview {

// The profile, the folder of this program, and the user's registry.
Facts write_facts();

// "writable", or why not. A file or key of a new name is made and deleted
// again; nothing that is there is touched.
std::wstring try_folder(const std::wstring& folder);
std::wstring try_key(HKEY root, const std::wstring& key);

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_WRITEFACTS_H_
