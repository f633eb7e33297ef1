// A reader of the packed form that is written from the format alone. It knows
// nothing of the packer.
#ifndef VEL_TESTS_PROPTREE_PROPTREEREADER_H_
#define VEL_TESTS_PROPTREE_PROPTREEREADER_H_

#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace vel::test {

struct PlainNode {
  std::wstring name;
  std::map<std::wstring, std::variant<std::wstring, std::int64_t>> attributes;
  std::vector<PlainNode> children;
  bool operator==(const PlainNode&) const = default;
};

class PropTreeReader {
 public:
  explicit PropTreeReader(const std::string& bytes) : _bytes(bytes) {}

  PlainNode Read() {
    Require(Chars(1) == L"<VELPROP:");
    _at += 32;
    for (std::size_t n = Number(2); n > 0; --n) table.push_back(Chars(1));
    PlainNode root = Node(Number(1));
    Require(Chars(1) == L":VELPROP>");
    return root;
  }

  std::vector<std::wstring> table;

 private:
  static void Require(bool holds) {
    if (!holds) throw std::runtime_error("bad file");
  }
  std::uint64_t Number(std::size_t size) {
    std::uint64_t number = 0;
    Require(_at + size <= _bytes.size());
    std::memcpy(&number, _bytes.data() + _at, size);
    _at += size;
    return number;
  }
  std::wstring Chars(std::size_t size) {
    std::wstring text(Number(4), L' ');
    for (wchar_t& c : text) c = wchar_t(Number(size));
    return text;
  }
  std::wstring Text(std::uint64_t form) {
    Require(form >= 1 && form <= 3);
    return form == 3 ? table.at(Number(2)) : Chars(form == 1 ? 2 : 1);
  }
  PlainNode Node(std::uint64_t tag) {
    PlainNode node;
    Require(tag >> 4 == 15);
    node.name = Text(tag & 15);
    while ((tag = Number(1)) != 0xFE) {
      const std::wstring name = (tag & 15) == 0 ? L"" : Text(tag & 15);
      if (tag >> 4 == 4 || tag >> 4 == 5) {
        node.attributes[name] = std::int64_t(Number(tag >> 4 == 4 ? 1 : 8));
      } else {
        node.attributes[name] = Text(tag >> 4);
      }
    }
    while ((tag = Number(1)) != 0xFF) node.children.push_back(Node(tag));
    return node;
  }

  const std::string _bytes;
  std::size_t _at = 0;
};

}  // namespace vel::test

#endif  // VEL_TESTS_PROPTREE_PROPTREEREADER_H_
