// The sending side of a block command: memory that the tray can open.
#ifndef VEL_TRAY_SHAREDBLOCK_H_
#define VEL_TRAY_SHAREDBLOCK_H_

#include <windows.h>

#include "sync/ScopedHandle.h"

namespace vel {

// A page-file mapping under a name of the calling thread's own, and the text
// that tells the tray of it. One at a time in each thread. kernel32 and user32
// only.
class [[nodiscard]] SharedBlock {
 public:
  // All zero. Without a view, with the last error, on failure.
  [[nodiscard]] explicit SharedBlock(DWORD size);
  ~SharedBlock();
  SharedBlock(const SharedBlock&) = delete;
  SharedBlock& operator=(const SharedBlock&) = delete;

  void* view() const { return _view; }
  // For a block command, over either door.
  const wchar_t* text() const { return _text; }

 private:
  ScopedHandle _mapping;
  void* _view = nullptr;
  wchar_t _text[96];
};

}  // namespace vel

#endif  // VEL_TRAY_SHAREDBLOCK_H_
