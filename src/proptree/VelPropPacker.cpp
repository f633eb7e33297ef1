#include "proptree/VelPropPacker.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "proptree/PropFormat.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr std::size_t kSeenLimit = 0xFFFE;
constexpr std::uint32_t kOnce = 0xFFFFFFFF;
constexpr wchar_t kLastAscii = 0x7F;
// What a load takes from the table in all, in characters. Each index makes a
// text of its own, so that a small file could ask for any amount of memory.
constexpr std::size_t kTableTextLimit = 0x4000000;

// A node whose children are being read or written.
struct Level {
  const VelPropNode* node;
  std::size_t next_child;
};

void fail(const char* text) {
  throw std::runtime_error(text);
}

void widen(const std::string& text, std::wstring& out) {
  out.resize(text.size());
  std::transform(text.begin(), text.end(), out.begin(), [](char byte) {
    return static_cast<wchar_t>(static_cast<unsigned char>(byte));
  });
}

}  // namespace

void VelPropPacker::Load(VelStreamIo stream) {
  std::string mark;
  if (!stream.ReadNarrow(mark) || mark != kPropLeadIn) fail("Lead-in failed");
  if (!stream.ReadRaw(_id.data(), _id.size())) fail("Encode ID failed");
  std::uint16_t count = 0;
  stream.ReadU16(count);
  _table.assign(count, {});
  _table_text = 0;
  for (std::string& entry : _table) stream.ReadNarrow(entry);
  LoadNode(*_root, stream);
  mark.clear();
  if (!stream.ReadNarrow(mark) || mark != kPropLeadOut) {
    fail("Lead-out failed");
  }
}

// A node joins its parent when it is whole.
bool VelPropPacker::LoadNode(VelPropNode& node, VelStreamIo& stream) {
  _open.clear();
  _top = &node;
  if (!load_head(node, stream)) return false;
  for (;;) {
    _open.push_back(std::make_shared<VelPropNode>());
    if (load_head(*_open.back(), stream)) continue;
    _open.pop_back();
    if (_open.empty()) return true;
    close_last();
  }
}

// Joins the innermost open node to its parent.
void VelPropPacker::close_last() {
  VelPropNode& parent = _open.size() == 1 ? *_top : *_open[_open.size() - 2];
  parent.AppendChild(_open.back());
  _open.pop_back();
}

void VelPropPacker::KeepPartial() {
  // The last one may not even have begun.
  if (!_open.empty() && _open.back()->Name().empty() &&
      _open.back()->Attributes().empty()) {
    _open.pop_back();
  }
  while (!_open.empty()) close_last();
}

// The name and the attributes; false at the end of a list of children. What
// can't be read at all counts as a tag of 0, which is none.
bool VelPropPacker::load_head(VelPropNode& node, VelStreamIo& stream) {
  std::uint8_t tag = 0;
  stream.ReadByte(tag);
  if (tag == kPropEndOfChildren) return false;
  load_name(tag, node.Name(), stream);
  for (;;) {
    tag = 0;
    stream.ReadByte(tag);
    if (tag == kPropEndOfAttributes) return true;
    load_attribute(tag, node, stream);
  }
}

void VelPropPacker::load_name(std::uint8_t tag, std::wstring& name,
                              VelStreamIo& stream) {
  if (tag == kPropWideName) stream.ReadWide(name);
  if (tag == kPropNarrowName) {
    load_narrow(name, stream);
  } else if (tag == kPropIndexedName) {
    StringFromTable(stream, name);
  } else {
    fail("LoadNode: invalid node tag");
  }
}

// Of two attributes of one name the first stays.
void VelPropPacker::load_attribute(std::uint8_t tag, VelPropNode& node,
                                   VelStreamIo& stream) {
  load_attribute_name(tag, stream);
  VelPropValue value = load_value(tag, stream);
  node.Attributes().try_emplace(_attribute_name, std::move(value));
}

void VelPropPacker::load_attribute_name(std::uint8_t tag, VelStreamIo& stream) {
  switch (tag & kPropNameBits) {
    case kPropEmptyAttributeName:
      _attribute_name.clear();
      break;
    case Form::kWide:
      stream.ReadWide(_attribute_name);
      break;
    case Form::kNarrow:
      load_narrow(_attribute_name, stream);
      break;
    case Form::kIndex:
      StringFromTable(stream, _attribute_name);
      break;
    default:
      fail("LoadNode: invalid attribute name tag");
  }
}

VelPropValue VelPropPacker::load_value(std::uint8_t tag, VelStreamIo& stream) {
  std::uint8_t small = 0;
  std::uint64_t large = 0;
  switch (tag & kPropValueBits) {
    case kPropWideText:
      stream.ReadWide(_value_text);
      return VelPropValue(_value_text);
    case kPropNarrowText:
      load_narrow(_value_text, stream);
      return VelPropValue(_value_text);
    case kPropIndexedText:
      StringFromTable(stream, _value_text);
      return VelPropValue(_value_text);
    case kPropSmallNumber:
      stream.ReadByte(small);
      return VelPropValue(std::int64_t{small});
    case kPropLargeNumber:
      stream.ReadU64(large);
      return VelPropValue(static_cast<std::int64_t>(large));
    default:
      throw std::runtime_error("LoadNode: invalid attribute value tag");
  }
}

void VelPropPacker::load_narrow(std::wstring& text, VelStreamIo& stream) {
  stream.ReadNarrow(_narrow);
  widen(_narrow, text);
}

// An index right behind the table isn't refused but a trap. That stays so.
void VelPropPacker::StringFromTable(VelStreamIo& stream, std::wstring& out) {
  std::uint16_t index = 0xFFFF;
  stream.ReadU16(index);
  if (index > _table.size()) fail("StringFromTable: invalid node table index");
  if (index == _table.size()) vel_trap();
  _table_text += _table[index].size();
  if (_table_text > kTableTextLimit) throw std::bad_alloc();
  widen(_table[index], out);
}

void VelPropPacker::Save(VelStreamIo stream) {
  if (!stream.WriteNarrow(std::string(kPropLeadIn))) fail("Lead-in failed");
  SYSTEMTIME now = {};
  GetSystemTime(&now);
  _id.fill(0);
  std::memcpy(_id.data(), &now, sizeof(now));
  if (!stream.WriteRaw(_id.data(), _id.size())) fail("Encode ID failed");
  _seen.clear();
  _table.clear();
  collect(*_root);
  save_table(stream);
  SaveNode(*_root, stream);
  if (!stream.WriteNarrow(std::string(kPropLeadOut))) fail("Lead-out failed");
}

// In the order of the file: a node, then its children.
void VelPropPacker::collect(const VelPropNode& root) {
  std::vector<const VelPropNode*> waiting = {&root};
  while (!waiting.empty()) {
    const VelPropNode& node = *waiting.back();
    waiting.pop_back();
    collect_text(node.Name());
    for (const auto& [name, value] : node.Attributes()) {
      collect_text(name);
      if (const std::wstring* text = value.Text()) collect_text(*text);
    }
    for (std::size_t i = node.ChildCount(); i > 0; --i) {
      waiting.push_back(node.ChildAt(i - 1).get());
    }
  }
}

// The second sighting puts a string into the table.
void VelPropPacker::collect_text(const std::wstring& text) {
  if (!narrow_into(text)) return;
  const auto found = _seen.find(_narrow);
  if (found == _seen.end()) {
    if (_seen.size() < kSeenLimit) _seen.emplace(_narrow, kOnce);
  } else if (found->second == kOnce) {
    found->second = static_cast<std::uint32_t>(_table.size());
    _table.push_back(_narrow);
  }
}

void VelPropPacker::save_table(VelStreamIo& stream) {
  stream.WriteU16(static_cast<std::uint16_t>(_table.size()));
  for (const std::string& entry : _table) stream.WriteNarrow(entry);
}

void VelPropPacker::SaveNode(const VelPropNode& node, VelStreamIo& stream) {
  save_head(node, stream);
  std::vector<Level> open = {{&node, 0}};
  while (!open.empty()) {
    Level& level = open.back();
    if (level.next_child == level.node->ChildCount()) {
      open.pop_back();
      if (!stream.WriteByte(kPropEndOfChildren)) {
        fail("SaveNode: failed to finalize nodes");
      }
      continue;
    }
    const VelPropNode& child = *level.node->ChildAt(level.next_child++);
    save_head(child, stream);
    open.push_back({&child, 0});
  }
}

void VelPropPacker::save_head(const VelPropNode& node, VelStreamIo& stream) {
  const Form form = form_of(node.Name());
  stream.WriteByte(static_cast<std::uint8_t>(kPropNameTag | form.kind));
  save_text(form, node.Name(), stream);
  for (const auto& [name, value] : node.Attributes()) {
    save_attribute(name, value, stream);
  }
  stream.WriteByte(kPropEndOfAttributes);
}

void VelPropPacker::save_attribute(const std::wstring& name,
                                   const VelPropValue& value,
                                   VelStreamIo& stream) {
  const std::wstring* const text = value.Text();
  const std::int64_t number = text != nullptr ? 0 : value.AsNumber();
  const bool is_small = number >= 0 && number <= kPropLargestSmall;
  int tag = is_small ? kPropSmallNumber : kPropLargeNumber;
  Form text_form = {};
  if (text != nullptr) {
    text_form = form_of(*text);
    tag = text_form.kind << kPropValueShift;
  }
  const Form name_form = form_of(name);
  if (!name.empty()) tag |= name_form.kind;
  stream.WriteByte(static_cast<std::uint8_t>(tag));
  if (!name.empty()) save_text(name_form, name, stream);
  if (text != nullptr) {
    if (text_form.kind == Form::kNarrow) narrow_into(*text);
    save_text(text_form, *text, stream);
  } else if (is_small) {
    stream.WriteByte(static_cast<std::uint8_t>(number));
  } else {
    stream.WriteU64(static_cast<std::uint64_t>(number));
  }
}

VelPropPacker::Form VelPropPacker::form_of(const std::wstring& text) {
  if (!narrow_into(text)) return {Form::kWide, 0};
  const auto found = _seen.find(_narrow);
  if (found == _seen.end() || found->second == kOnce) {
    return {Form::kNarrow, 0};
  }
  return {Form::kIndex, static_cast<std::uint16_t>(found->second)};
}

void VelPropPacker::save_text(Form form, const std::wstring& text,
                              VelStreamIo& stream) {
  switch (form.kind) {
    case Form::kWide:
      stream.WriteWide(text);
      break;
    case Form::kNarrow:
      stream.WriteNarrow(_narrow);
      break;
    case Form::kIndex:
      stream.WriteU16(form.index);
      break;
  }
}

bool VelPropPacker::narrow_into(const std::wstring& text) {
  _narrow.resize(text.size());
  wchar_t all = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    all = static_cast<wchar_t>(all | text[i]);
    _narrow[i] = static_cast<char>(text[i]);
  }
  return all <= kLastAscii;
}

}  // namespace vel
