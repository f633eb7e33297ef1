// The command line of SessionView.
#ifndef VEL_TOOLS_SESSIONVIEW_OPTIONS_H_
#define VEL_TOOLS_SESSIONVIEW_OPTIONS_H_

#include <string>
#include <vector>

namespace sessionview {

extern const wchar_t kUsage[];

struct Options {
  bool text = false;  // prints instead of showing a window
  bool list = false;  // prints the titles of the open windows
  bool help = false;
  // What the program was opened with, usually one URL or file.
  std::vector<std::wstring> opened_with;
};

// The arguments without the program's name. A switch is one only in the first
// place: whatever a URL's handler is given behind it is told, not obeyed.
Options parse_options(const std::vector<std::wstring>& arguments);

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_OPTIONS_H_
