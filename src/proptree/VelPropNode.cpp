#include "proptree/VelPropNode.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <utility>

#include "foundation/WildcardMatch.h"

namespace vel {
namespace {

// Whether nobody else holds the node. Who held it before has let go of it, and
// what that thread did to it is seen from here on.
bool is_last_owner(const VelPropNode::Child& node) {
  if (node.use_count() != 1) return false;
  std::atomic_thread_fence(std::memory_order_acquire);
  return true;
}

}  // namespace

// Goes down the last children and up again, and takes no memory for the way
// back: the place of the child that it is in holds the parent's parent.
VelPropNode::~VelPropNode() {
  Child parent;
  while (!_children.empty()) {
    Child node = std::move(_children.back());
    _children.pop_back();
    while (node != nullptr) {
      if (is_last_owner(node) && !node->_children.empty()) {
        Child child = std::move(node->_children.back());
        node->_children.back() = std::move(parent);
        parent = std::exchange(node, std::move(child));
      } else {
        node.reset();
      }
      if (node != nullptr || parent == nullptr) continue;
      node = std::move(parent);
      parent = std::move(node->_children.back());
      node->_children.pop_back();
    }
  }
}

VelPropValue* VelPropNode::FindAttribute(const std::wstring& name) {
  const auto found = _attributes.find(name);
  return found != _attributes.end() ? &found->second : nullptr;
}

bool VelPropNode::HasAttribute(const std::wstring& name) const {
  return _attributes.contains(name);
}

bool VelPropNode::RemoveAttribute(const std::wstring& name) {
  return _attributes.erase(name) != 0;
}

bool VelPropNode::GetText(const std::wstring& name, std::wstring& out) {
  VelPropValue* const value = FindAttribute(name);
  if (value == nullptr) return false;
  out = value->AsText();
  return true;
}

bool VelPropNode::GetNumber(const std::wstring& name, std::int64_t& out) const {
  const auto found = _attributes.find(name);
  if (found == _attributes.end()) return false;
  out = found->second.AsNumber();
  return true;
}

bool VelPropNode::GetNumber32(const std::wstring& name,
                              std::int32_t& out) const {
  std::int64_t number = 0;
  if (!GetNumber(name, number)) return false;
  out = static_cast<std::int32_t>(number);
  return true;
}

void VelPropNode::SetText(const std::wstring& name, const std::wstring& text,
                          bool detect_number) {
  if (detect_number && SetNumberFromText(name, text)) return;
  _attributes.insert_or_assign(name, VelPropValue(text));
}

void VelPropNode::SetNumber(const std::wstring& name, std::int64_t number) {
  _attributes.insert_or_assign(name, VelPropValue(number));
}

bool VelPropNode::SetNumberFromText(const std::wstring& name,
                                    const std::wstring& text) {
  const bool digits = std::all_of(text.begin(), text.end(), [](wchar_t c) {
    return c >= L'0' && c <= L'9';
  });
  if (!digits) return false;
  const std::int64_t number = _wtoi64(text.c_str());
  if (std::to_wstring(number) != text) return false;
  SetNumber(name, number);
  return true;
}

bool VelPropNode::NumberEquals(const std::wstring& name,
                               std::int64_t number) const {
  std::int64_t own = 0;
  GetNumber(name, own);
  return own == number;
}

bool VelPropNode::TextEquals(const std::wstring& name,
                             const std::wstring& text) {
  std::wstring own;
  GetText(name, own);
  return _wcsicmp(own.c_str(), text.c_str()) == 0;
}

VelPropNode::Child VelPropNode::AddChild(const std::wstring& name) {
  return _children.emplace_back(std::make_shared<VelPropNode>(name));
}

void VelPropNode::EraseChild(std::size_t position) {
  _children.erase(_children.begin() + static_cast<std::ptrdiff_t>(position));
}

VelPropNode::Child VelPropNode::FindChild(const std::wstring& name) const {
  for (const Child& child : _children) {
    if (_wcsicmp(child->_name.c_str(), name.c_str()) == 0) return child;
  }
  return nullptr;
}

bool VelPropNode::FindChildren(const std::wstring& pattern,
                               std::vector<Child>& out) const {
  bool found = false;
  for (const Child& child : _children) {
    if (!VelWildcardMatch(child->_name, pattern)) continue;
    out.push_back(child);
    found = true;
  }
  return found;
}

VelPropNode::Child VelPropNode::FindChildByAttribute(
    const std::wstring& pattern, const std::wstring& attribute,
    const std::wstring& text) const {
  for (const Child& child : _children) {
    if (VelWildcardMatch(child->_name, pattern) &&
        child->TextEquals(attribute, text)) {
      return child;
    }
  }
  return nullptr;
}

bool VelPropNode::RemoveChildren(const wchar_t* pattern, bool all) {
  bool removed = false;
  for (std::size_t i = 0; i < _children.size(); ++i) {
    if (pattern != nullptr && !VelWildcardMatch(_children[i]->_name, pattern)) {
      continue;
    }
    EraseChild(i);
    removed = true;
    if (!all) break;
  }
  return removed;
}

}  // namespace vel
