#include "ptpdump/TreePrinter.h"

#include <cstdio>
#include <string_view>

#include "swlcat/Utf8.h"

namespace ptpdump {
namespace {

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

void append_value(std::string& out, const vel::VelPropValue& value) {
  if (const std::wstring* text = value.Text()) {
    append_string(out, *text);
  } else {
    out += std::to_string(value.AsNumber());
  }
}

void append_text(std::string& out, const vel::VelPropNode& node,
                 std::size_t depth) {
  out.append(2 * depth, ' ');
  append_string(out, node.Name());
  out += '\n';
  for (const auto& [name, value] : node.Attributes()) {
    out.append(2 * depth + 4, ' ');
    append_string(out, name);
    out += " = ";
    append_value(out, value);
    out += '\n';
  }
  for (std::size_t i = 0; i < node.ChildCount(); ++i) {
    append_text(out, *node.ChildAt(i), depth + 1);
  }
}

void append_json(std::string& out, const vel::VelPropNode& node) {
  out += "{\"name\":";
  append_string(out, node.Name());
  const char* comma = "";
  out += ",\"attributes\":{";
  for (const auto& [name, value] : node.Attributes()) {
    out += comma;
    append_string(out, name);
    out += ':';
    append_value(out, value);
    comma = ",";
  }
  comma = "";
  out += "},\"children\":[";
  for (std::size_t i = 0; i < node.ChildCount(); ++i) {
    out += comma;
    append_json(out, *node.ChildAt(i));
    comma = ",";
  }
  out += "]}";
}

}  // namespace

std::string tree_as_text(const vel::VelPropNode& root) {
  std::string out;
  append_text(out, root, 0);
  return out;
}

std::string tree_as_json(const vel::VelPropNode& root) {
  std::string out;
  append_json(out, root);
  return out + "\n";
}

}  // namespace ptpdump
