#include "ptpdump/TreePrinter.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "swlcat/Utf8.h"

namespace ptpdump {
namespace {

constexpr std::size_t kIndentedLevels = 32;

// A JSON string, which serves as the text form too.
void append_string(std::string& out, const std::wstring& text) {
  out += '"';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const wchar_t c = text[i];
    const bool is_surrogate = c >= 0xD800 && c <= 0xDFFF;
    if (c < L' ' || is_surrogate) {
      char code[8];
      std::snprintf(code, sizeof code, "\\u%04x", c);
      out += code;
    } else {
      if (c == L'"' || c == L'\\') out += '\\';
      swlcat::append_utf8(out, std::wstring_view(&c, 1));
    }
  }
  out += '"';
}

std::string string_of(const std::wstring& text) {
  std::string out;
  append_string(out, text);
  return out;
}

std::string value_of(const vel::VelPropValue& value) {
  const std::wstring* const text = value.Text();
  return text != nullptr ? string_of(*text) : std::to_string(value.AsNumber());
}

// Calls `enter` at each node, with its level and whether it is its parent's
// first child, and `leave` after its children. Without deep recursion.
template <typename Enter, typename Leave>
void walk(const vel::VelPropNode& root, const Enter& enter,
          const Leave& leave) {
  struct Level {
    const vel::VelPropNode* node;
    std::size_t next_child;
  };
  std::vector<Level> open = {{&root, 0}};
  enter(root, 0, true);
  while (!open.empty()) {
    Level& level = open.back();
    if (level.next_child == level.node->ChildCount()) {
      leave();
      open.pop_back();
      continue;
    }
    const bool is_first = level.next_child == 0;
    const vel::VelPropNode& child = *level.node->ChildAt(level.next_child++);
    enter(child, open.size(), is_first);
    open.push_back({&child, 0});
  }
}

// What a line of the level begins with.
std::string indent(std::size_t level) {
  if (level < kIndentedLevels) return std::string(2 * level, ' ');
  return std::string(2 * kIndentedLevels, ' ') + std::to_string(level) + " ";
}

}  // namespace

void print_text(Output& out, const vel::VelPropNode& root) {
  const auto enter = [&out](const vel::VelPropNode& node, std::size_t level,
                            bool) {
    const std::string begin = indent(level);
    out << begin << string_of(node.Name()) << "\n";
    for (const auto& [name, value] : node.Attributes()) {
      out << begin << "    " << string_of(name) << " = " << value_of(value)
          << "\n";
    }
  };
  walk(root, enter, [] {});
}

void print_json(Output& out, const vel::VelPropNode& root) {
  const auto enter = [&out](const vel::VelPropNode& node, std::size_t,
                            bool is_first) {
    out << (is_first ? "" : ",") << "{\"name\":" << string_of(node.Name())
        << ",\"attributes\":{";
    const char* comma = "";
    for (const auto& [name, value] : node.Attributes()) {
      out << comma << string_of(name) << ":" << value_of(value);
      comma = ",";
    }
    out << "},\"children\":[";
  };
  walk(root, enter, [&out] { out << "]}"; });
  out << "\n";
}

}  // namespace ptpdump
