#include "ptpdump/Json.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "foundation/CodePageConverter.h"

namespace ptpdump {
namespace {

class Reader {
 public:
  explicit Reader(std::string_view json) : _json(json) {}

  void read(vel::VelPropNode& root) {
    read_node(root);
    skip_blanks();
    if (_at != _json.size()) fail("something behind the tree");
  }

 private:
  [[noreturn]] void fail(const char* what) const {
    throw std::runtime_error("JSON, offset " + std::to_string(_at) + ": " +
                             what);
  }
  void skip_blanks() {
    _at = std::min(_json.find_first_not_of(" \t\r\n", _at), _json.size());
  }
  bool take(char wanted) {
    skip_blanks();
    if (_at == _json.size() || _json[_at] != wanted) return false;
    ++_at;
    return true;
  }
  void need(char wanted, const char* what) {
    if (!take(wanted)) fail(what);
  }

  // At the begin of a list: whether it has an element.
  bool enter(char begin, char end) {
    need(begin, "an object or an array is missing");
    return !take(end);
  }
  // After an element: whether another one follows.
  bool go_on(char end) {
    if (take(',')) return true;
    need(end, "a comma or an end is missing");
    return false;
  }
  std::wstring read_name() {
    std::wstring name = read_string();
    need(':', "a colon is missing");
    return name;
  }

  // One node with all below it, without deep recursion.
  void read_node(vel::VelPropNode& root) {
    std::vector<vel::VelPropNode*> open = {&root};
    for (bool more = enter('{', '}');;) {
      bool is_child = false;
      if (more) {
        is_child = read_member(*open.back());
      } else {
        open.pop_back();
        if (open.empty()) return;
        is_child = go_on(']');
      }
      if (is_child) {
        open.push_back(open.back()->AddChild(L"").get());
        more = enter('{', '}');
      } else {
        more = go_on('}');
      }
    }
  }
  // True when the node's first child comes next.
  bool read_member(vel::VelPropNode& node) {
    const std::wstring member = read_name();
    if (member == L"name") {
      node.Name() = read_string();
    } else if (member == L"attributes") {
      for (bool more = enter('{', '}'); more; more = go_on('}')) {
        const std::wstring name = read_name();
        read_value(node, name);
      }
    } else if (member == L"children") {
      return enter('[', ']');
    } else {
      fail("a node has name, attributes and children only");
    }
    return false;
  }

  void read_value(vel::VelPropNode& node, const std::wstring& name) {
    skip_blanks();
    if (_at < _json.size() && _json[_at] == '"') {
      node.SetText(name, read_string());
      return;
    }
    std::int64_t number = 0;
    const char* const from = _json.data() + _at;
    const char* const end = _json.data() + _json.size();
    const auto [behind, error] = std::from_chars(from, end, number);
    const bool goes_on =
        behind != end &&
        std::string_view(",} \t\r\n").find(*behind) == std::string_view::npos;
    if (error != std::errc() || goes_on) {
      fail("a value is a text or a whole number of 64 bits");
    }
    _at += static_cast<std::size_t>(behind - from);
    node.SetNumber(name, number);
  }

  std::wstring read_string() {
    need('"', "a text is missing");
    std::wstring text;
    for (;;) {
      const std::size_t end = _json.find_first_of("\"\\", _at);
      if (end == std::string_view::npos) fail("a text has no end");
      text += utf8_piece(_json.substr(_at, end - _at));
      _at = end + 1;
      if (_json[end] == '"') return text;
      text += read_escape();
    }
  }
  static std::wstring utf8_piece(std::string_view piece) {
    return vel::CodePageConverter(65001).to_wide(std::string(piece));
  }
  wchar_t read_escape() {
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::wstring_view kValues = L"\"\\/\b\f\n\r\t";
    if (_at == _json.size()) fail("a text has no end");
    const char name = _json[_at++];
    if (name != 'u') {
      const std::size_t found = kNames.find(name);
      if (found == std::string_view::npos) fail("no such escape");
      return kValues[found];
    }
    const std::string_view digits = _json.substr(_at, 4);
    unsigned code = 0;
    const auto [behind, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
    if (error != std::errc() || behind != digits.data() + 4) {
      fail("four hexadecimal digits are missing");
    }
    _at += 4;
    return static_cast<wchar_t>(code);
  }

  const std::string_view _json;
  std::size_t _at = 0;
};

}  // namespace

void read_json(const std::string& json, vel::VelPropNode& root) {
  Reader(json).read(root);
}

}  // namespace ptpdump
