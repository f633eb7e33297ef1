#include "sessions/PluginList.h"

#include "foundation/Text.h"

namespace vel {

namespace {

// The comma is looked for in the wide text: in a double-byte code page its code
// may be the second half of a character.
PluginLine parse_line(std::string_view bytes) {
  const std::wstring line = WideFromAnsi(bytes);
  const std::size_t comma = line.find(L',');
  if (comma == std::wstring::npos) return {line, {}};
  return {line.substr(0, comma), line.substr(comma + 1)};
}

}  // namespace

std::vector<PluginLine> parse_plugin_list(std::string_view text) {
  constexpr std::string_view kLineEnd = "\r\n";
  std::vector<PluginLine> lines;
  for (;;) {
    const std::size_t end = text.find(kLineEnd);
    if (end == std::string_view::npos) break;
    if (end != 0) lines.push_back(parse_line(text.substr(0, end)));
    text.remove_prefix(end + kLineEnd.size());
  }
  if (!text.empty()) lines.emplace_back();
  return lines;
}

}  // namespace vel
