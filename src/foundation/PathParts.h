// Taking paths apart and putting them together. A directory string "with a
// slash" ends in a backslash. The thread's last error is kept.
#ifndef VEL_FOUNDATION_PATHPARTS_H_
#define VEL_FOUNDATION_PATHPARTS_H_

#include <string>
#include <string_view>

namespace vel {

// The prefix that the kernel's own names of drive paths have.
inline constexpr std::wstring_view kNtPathPrefix = L"\\??\\";

// What stands behind the last backslash, or everything.
std::wstring file_name_of(const std::wstring& path);
// Up to and with the last backslash, or nothing.
std::wstring directory_of(const std::wstring& path);
// Appends a backslash unless the text is empty or ends in one.
std::wstring with_slash(std::wstring path);
// Cuts one backslash from the end.
std::wstring without_slash(std::wstring path);
// In the lower case of the system's CharLowerBuffW.
std::wstring lower_case(std::wstring text);

// `path` for a Win32 call: a leading \??\ becomes \\?\, which means the same
// and is taken by all of them.
std::wstring win32_path(const std::wstring& path);

// Creates the directories of `path` up to its last backslash, parents first,
// unless something of that name exists. What stands behind the last backslash
// isn't created: a directory goes in with a slash, a file as it is. Failures
// show only in that the directory isn't there.
void make_directories(const std::wstring& path);

}  // namespace vel

#endif  // VEL_FOUNDATION_PATHPARTS_H_
