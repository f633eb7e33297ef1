// The syntax of named arguments, /key="value", that all programs of the system
// speak: their command lines, the text of GUI IPC commands, the replies of the
// statistics endpoint.
//
// Nothing is parsed ahead: each query searches the string anew, so a fragment
// serves as well as a whole command line with the program's path in it. Keys
// are compared exactly. The search is a plain substring search: `/key="` inside
// another argument's value is found too. `/key= "value"`, with one blank, is
// read as well, but only when the first form gave nothing.
//
// In a value BEL (code 7) followed by 1, 2 or 3 stands for BEL, a double quote
// and NUL. BEL followed by anything else stands for itself.
//
// A missing key, an empty value and a value without its closing quote all read
// as the empty string; nothing here reports an error. No state, any thread.
#ifndef VEL_FOUNDATION_COMMANDLINE_H_
#define VEL_FOUNDATION_COMMANDLINE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel {

// The value of `key`. With `single` a later occurrence overrides an earlier
// one; without it the values of all occurrences follow each other, each ended
// by a carriage return.
std::wstring get_param(const std::wstring& cmd_line, std::wstring_view key,
                       bool single = true);

// Appends the value of each occurrence of `key` to `list`, in order. Empty
// values are left out, and a value with a carriage return in it comes out as
// two.
void get_param_list(const std::wstring& cmd_line, std::wstring_view key,
                    std::vector<std::wstring>& list);

// The value of `key` as a decimal number: leading blanks and a sign are taken,
// the scan stops at the first other character. `default_value` stands for a
// missing key and for a conversion that failed with errno set.
std::uint32_t get_uint_param(const std::wstring& cmd_line,
                             std::wstring_view key,
                             std::uint32_t default_value);

// Appends an argument to `out`, with a blank in front unless `out` is empty.
// The value is escaped on the way.
void add_param(std::wstring& out, std::wstring_view key,
               std::wstring_view value);
void add_param(std::wstring& out, std::wstring_view key, int number);

// The two directions of the escape, in place.
void escape_value(std::wstring& text);
void unescape_value(std::wstring& text);

// Sets a variable of this process's environment for each /env="NAME=VALUE" of
// the line, in order; later ones see the earlier ones. %VAR% references in
// VALUE are expanded, and a VALUE whose expansion is empty is taken as it
// stands. No `=` means an empty value, which removes the variable.
void apply_env_params(const std::wstring& cmd_line);

}  // namespace vel

#endif  // VEL_FOUNDATION_COMMANDLINE_H_
