// The command line of swlcat.
#ifndef VEL_TOOLS_SWLCAT_OPTIONS_H_
#define VEL_TOOLS_SWLCAT_OPTIONS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace swlcat {

struct Options {
  std::vector<std::wstring> files;  // also folders and patterns
  std::wstring key;                 // path of the private key; empty for none
  unsigned level = 0;
  std::optional<unsigned> only;  // this level
  std::optional<std::uint32_t> process;
  std::wstring grep;
  // Milliseconds since 1601 in local time.
  std::optional<std::int64_t> since;
  bool follow = false;
  bool json = false;
  bool help = false;
};

// Reads the arguments behind the program's name. Nothing, with a reason in
// `error`, when they can't be carried out.
std::optional<Options> parse_options(const std::vector<std::wstring>& arguments,
                                     std::wstring& error);

// The text of --help.
extern const char* const kHelp;

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_OPTIONS_H_
