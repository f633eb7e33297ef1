#ifndef VEL_PROPTREE_VELPROPNODE_H_
#define VEL_PROPTREE_VELPROPNODE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "proptree/VelPropValue.h"

namespace vel {

// A node of a property tree: a name, attributes with names of their own, sorted
// and told apart by case, and children in their order, whose names may repeat.
// The topmost node has an empty name. A child may outlive its parent.
//
// Nothing here locks, and reading may change a value: all access to one tree is
// for one thread at a time.
class VelPropNode {
 public:
  using Child = std::shared_ptr<VelPropNode>;
  using AttributeMap = std::map<std::wstring, VelPropValue>;

  VelPropNode() = default;
  explicit VelPropNode(std::wstring name) : _name(std::move(name)) {}
  // A tree of any depth goes without deep recursion and without memory.
  ~VelPropNode();
  VelPropNode(const VelPropNode&) = delete;
  VelPropNode& operator=(const VelPropNode&) = delete;

  std::wstring& Name() { return _name; }
  const std::wstring& Name() const { return _name; }

  AttributeMap& Attributes() { return _attributes; }
  const AttributeMap& Attributes() const { return _attributes; }
  // Null when there is none; the node's own.
  VelPropValue* FindAttribute(const std::wstring& name);
  bool HasAttribute(const std::wstring& name) const;
  bool RemoveAttribute(const std::wstring& name);
  // False leaves `out` alone: there is no such attribute. A number that is read
  // as text is a text from then on, and is saved as one.
  bool GetText(const std::wstring& name, std::wstring& out);
  bool GetNumber(const std::wstring& name, std::int64_t& out) const;
  bool GetNumber32(const std::wstring& name, std::int32_t& out) const;
  // These create or replace an attribute. With `detect_number` a text that
  // SetNumberFromText takes becomes a number.
  void SetText(const std::wstring& name, const std::wstring& text,
               bool detect_number = false);
  void SetNumber(const std::wstring& name, std::int64_t number);
  // Takes the decimal form that a number is written in, without a sign and
  // leading zeros; false, with nothing changed, for any other text.
  bool SetNumberFromText(const std::wstring& name, const std::wstring& text);
  // A missing attribute equals 0 and the empty text. Case doesn't count.
  bool NumberEquals(const std::wstring& name, std::int64_t number) const;
  bool TextEquals(const std::wstring& name, const std::wstring& text);

  Child AddChild(const std::wstring& name);
  void AppendChild(Child node) { _children.push_back(std::move(node)); }
  std::size_t ChildCount() const { return _children.size(); }
  // `index` is below ChildCount() in these two.
  const Child& ChildAt(std::size_t index) const { return _children[index]; }
  void EraseChild(std::size_t position);
  // The first child of that name, whatever its case, or null.
  Child FindChild(const std::wstring& name) const;
  // Appends the children whose names match the wildcard pattern; false when
  // there is none.
  bool FindChildren(const std::wstring& pattern, std::vector<Child>& out) const;
  // The first of those for which TextEquals holds, or null.
  Child FindChildByAttribute(const std::wstring& pattern,
                             const std::wstring& attribute,
                             const std::wstring& text) const;
  // Removes the first child that matches, or, with `all`, each one but those
  // that follow a removed one directly: these are passed over, and that stays
  // so. A null pattern matches every child. False when none was removed.
  bool RemoveChildren(const wchar_t* pattern, bool all);

 private:
  std::vector<Child> _children;
  AttributeMap _attributes;
  std::wstring _name;
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELPROPNODE_H_
