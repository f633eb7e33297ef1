// The list of plug-ins, Plugins\plugins.txt:
//
//   line   library[,parameters] CR LF
//
// in the system's ANSI code page. The first comma divides the fields; blanks
// belong to them, and there are no comments. Lines of no bytes are skipped. The
// order of the lines is the order of loading and of all events.
#ifndef VEL_SESSIONS_PLUGINLIST_H_
#define VEL_SESSIONS_PLUGINLIST_H_

#include <string>
#include <string_view>
#include <vector>

namespace vel {

struct PluginLine {
  std::wstring file;
  // As it stands: references to variables aren't expanded yet.
  std::wstring parameters;
};

// The lines of `text`, the bytes of the file. What stands behind the last CR LF
// is no line: its bytes are lost, and give one line with an empty library, so
// that the failing load shows in the log that the end is missing.
std::vector<PluginLine> parse_plugin_list(std::string_view text);

}  // namespace vel

#endif  // VEL_SESSIONS_PLUGINLIST_H_
