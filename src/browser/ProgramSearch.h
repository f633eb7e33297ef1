// Finds the executable behind a short name, a path or a command line, by the
// App Paths keys of the registry and the system's search path.
//
// An empty text is handed back as it is, and empty is the answer for what isn't
// found. A text that begins with two backslashes is never looked up, so that no
// network is touched. Nothing is logged. No state, any thread.
#ifndef VEL_BROWSER_PROGRAMSEARCH_H_
#define VEL_BROWSER_PROGRAMSEARCH_H_

#include <windows.h>

#include <cstdint>
#include <string>

namespace vel {

// `ext` below is an extension with its dot, such as L".exe".

// The path that the App Paths key of `name`, else of `name` + `ext`, gives. The
// key's value `_Brindlemar`, the product's own, goes before its default value.
// A value that names another file, or none, counts only if the search in the
// key's `Path` finds nothing. `view` is one of Registry.h.
std::wstring find_in_app_paths(HKEY root, const std::wstring& name,
                               const std::wstring& ext, std::uint32_t view);

// The program of a name, a path or a command line, quoted or not.
std::wstring find_program(const std::wstring& text, const std::wstring& ext);

// find_program, with variables expanded and in its long form.
std::wstring find_executable_with_ext(const std::wstring& text,
                                      const std::wstring& ext);

// The same for .exe, .com, .bat and .cmd in turn, after variables in `name`
// were expanded; a variable that isn't known stays.
std::wstring find_executable(const std::wstring& name);

}  // namespace vel

#endif  // VEL_BROWSER_PROGRAMSEARCH_H_
