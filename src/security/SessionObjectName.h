// Kernel names of objects in a session's namespace.
#ifndef VEL_SECURITY_SESSIONOBJECTNAME_H_
#define VEL_SECURITY_SESSIONOBJECTNAME_H_

#include <windows.h>

#include <string>

namespace vel {

// The full kernel name of the object whose name `format` gives (in the syntax
// of the log call): in the session's own namespace, or in the global one for
// session 0. Nothing is escaped. No state, any thread.
std::wstring MakeSessionObjectName(DWORD session_id, const wchar_t* format,
                                   ...);

}  // namespace vel

#endif  // VEL_SECURITY_SESSIONOBJECTNAME_H_
