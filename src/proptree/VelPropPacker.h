#ifndef VEL_PROPTREE_VELPROPPACKER_H_
#define VEL_PROPTREE_VELPROPPACKER_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "proptree/VelPropNode.h"
#include "proptree/VelStreamIo.h"

namespace vel {

// The packed form of a property tree; docs/files.md has it to the byte. For one
// load or one save. What goes wrong is thrown as a std::exception whose text is
// for the log.
class VelPropPacker {
 public:
  // `root` isn't owned.
  explicit VelPropPacker(VelPropNode* root) : _root(root) {}

  // Adds what the stream holds to the root: its name is replaced, attributes
  // that it has already stay, children are appended. After an exception the
  // root has what was read until then, whole children only.
  //
  // A node whose name isn't ASCII is written, but can't be read back. That
  // stays so: no such name is in use. Texts from the table that make more than
  // 128 MiB count as memory exhausted.
  void Load(VelStreamIo stream);
  // After a load that failed: joins the children that aren't whole to their
  // parents, as far as they were read.
  void KeepPartial();
  // A write that fails may show only when the stream is closed.
  void Save(VelStreamIo stream);

  // One node with all below it, without deep recursion. LoadNode gives false,
  // with nothing read but that, at the end of a list of children.
  bool LoadNode(VelPropNode& node, VelStreamIo& stream);
  void SaveNode(const VelPropNode& node, VelStreamIo& stream);

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  void close_last();
  bool load_head(VelPropNode& node, VelStreamIo& stream);
  void load_name(std::uint8_t tag, std::wstring& name, VelStreamIo& stream);
  void load_attribute(std::uint8_t tag, VelPropNode& node, VelStreamIo& stream);
  void load_attribute_name(std::uint8_t tag, VelStreamIo& stream);
  VelPropValue load_value(std::uint8_t tag, VelStreamIo& stream);
  void load_narrow(std::wstring& text, VelStreamIo& stream);
  void StringFromTable(VelStreamIo& stream, std::wstring& out);

  void collect(const VelPropNode& root);
  void collect_text(const std::wstring& text);
  void save_table(VelStreamIo& stream);
  void save_head(const VelPropNode& node, VelStreamIo& stream);
  void save_attribute(const std::wstring& name, const VelPropValue& value,
                      VelStreamIo& stream);
  // How a text is stored; its narrow form is in _narrow when it has one.
  struct Form {
    enum Kind : std::uint8_t { kWide = 1, kNarrow = 2, kIndex = 3 };
    Kind kind;
    std::uint16_t index;
  };
  Form form_of(const std::wstring& text);
  void save_text(Form form, const std::wstring& text, VelStreamIo& stream);
  // False when the text isn't ASCII.
  bool narrow_into(const std::wstring& text);

  VelPropNode* const _root;
  // The node that LoadNode was given, and those below it, each the child of the
  // one before, that aren't whole.
  VelPropNode* _top = nullptr;
  std::vector<VelPropNode::Child> _open;
  std::vector<std::string> _table;
  // The characters that a load has taken from the table.
  std::size_t _table_text = 0;
  // The strings met in a save, with their place in the table or kOnce.
  std::unordered_map<std::string, std::uint32_t, Hash, std::equal_to<>> _seen;
  std::wstring _value_text;
  std::wstring _attribute_name;
  std::string _narrow;
  // Of the file last read or written. Nothing looks at it.
  std::array<std::uint8_t, 32> _id = {};
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELPROPPACKER_H_
