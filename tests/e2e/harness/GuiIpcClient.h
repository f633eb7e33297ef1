// GUI IPC as another program of the desktop speaks it, by the public header
// alone.
#ifndef VEL_TESTS_E2E_HARNESS_GUIIPCCLIENT_H_
#define VEL_TESTS_E2E_HARNESS_GUIIPCCLIENT_H_

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vel/GuiIpc.h"

namespace vel::test {

// The tray's window, or null.
HWND FindTray();

// The answer of the tray, 0 when there is none. `size` bytes are sent as they
// are.
LRESULT SendCopyData(const void* bytes, DWORD size);
bool SendCommand(std::uint32_t command, const std::wstring& text = L"");

// The text that names a block.
std::wstring BlockText(const std::wstring& tag, const std::wstring& length);

// Sends a block and takes back what the tray made of it.
bool SendBlock(std::uint32_t command, std::vector<unsigned char>& block);

// A mapping that the tray can open by its tag.
class SharedBlock {
 public:
  explicit SharedBlock(DWORD size);
  ~SharedBlock();
  SharedBlock(const SharedBlock&) = delete;
  SharedBlock& operator=(const SharedBlock&) = delete;

  const std::wstring& tag() const { return _tag; }
  unsigned char* bytes() const { return _bytes; }

 private:
  std::wstring _tag;
  HANDLE _mapping;
  unsigned char* _bytes;
};

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HARNESS_GUIIPCCLIENT_H_
