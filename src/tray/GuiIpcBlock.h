// The receiving side of a block command: the sender's shared memory.
#ifndef VEL_TRAY_GUIIPCBLOCK_H_
#define VEL_TRAY_GUIIPCBLOCK_H_

#include <cstdint>
#include <string>

#include "sync/ScopedHandle.h"

namespace vel {

// A view of the mapping that the text of a block command names, for as long as
// the object lives. The block is the sender's, who can change it at any time:
// read each word once.
class [[nodiscard]] GuiIpcBlock {
 public:
  // `text` is the command's text, `tag` its bmmap argument. On failure view()
  // is null and the last error tells why: ERROR_INVALID_BLOCK_LENGTH for a size
  // out of 1 to VEL_GUI_IPC_MAX_BLOCK, ERROR_NOACCESS for a mapping whose pages
  // aren't all committed, else what the system said.
  [[nodiscard]] GuiIpcBlock(const std::wstring& text, const std::wstring& tag);
  ~GuiIpcBlock();
  GuiIpcBlock(const GuiIpcBlock&) = delete;
  GuiIpcBlock& operator=(const GuiIpcBlock&) = delete;

  void* view() const { return _view; }
  std::uint32_t size() const { return _size; }

 private:
  ScopedHandle _mapping;
  void* _view = nullptr;
  std::uint32_t _size = 0;
};

}  // namespace vel

#endif  // VEL_TRAY_GUIIPCBLOCK_H_
