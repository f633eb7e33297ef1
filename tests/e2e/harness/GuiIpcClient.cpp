#include "harness/GuiIpcClient.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vel::test {
namespace {

std::wstring Tag() {
  wchar_t tag[32];
  _snwprintf(tag, 32, L"%x.%x", GetCurrentProcessId(), GetCurrentThreadId());
  return tag;
}

}  // namespace

HWND FindTray() {
  return FindWindowW(VEL_TRAY_WINDOW_CLASS, L"");
}

LRESULT SendCopyData(const void* bytes, DWORD size) {
  const HWND tray = FindTray();
  if (!tray) return 0;
  COPYDATASTRUCT data = {};
  data.cbData = size;
  data.lpData = const_cast<void*>(bytes);
  return SendMessageW(tray, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
}

bool SendCommand(std::uint32_t command, const std::wstring& text) {
  const std::size_t text_bytes = text.size() * sizeof(wchar_t);
  std::vector<unsigned char> block(VEL_GUI_IPC_MIN_COPYDATA + text_bytes);
  std::memcpy(block.data(), &command, sizeof command);
  std::memcpy(block.data() + sizeof command, text.data(), text_bytes);
  return SendCopyData(block.data(), static_cast<DWORD>(block.size())) != 0;
}

std::wstring BlockText(const std::wstring& tag, const std::wstring& length) {
  return std::wstring(L"/") + VEL_GUI_IPC_MAPPING_KEY + L"=\"" + tag + L"\" /" +
         VEL_GUI_IPC_LENGTH_KEY + L"=\"" + length + L"\"";
}

bool SendBlock(std::uint32_t command, std::vector<unsigned char>& block) {
  SharedBlock shared(static_cast<DWORD>(block.size()));
  if (!shared.bytes()) return false;
  std::memcpy(shared.bytes(), block.data(), block.size());
  const std::wstring text =
      BlockText(shared.tag(), std::to_wstring(block.size()));
  if (!SendCommand(command, text)) return false;
  std::memcpy(block.data(), shared.bytes(), block.size());
  return true;
}

SharedBlock::SharedBlock(DWORD size)
    : _tag(Tag()),
      _mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                  PAGE_READWRITE | SEC_COMMIT, 0, size,
                                  (VEL_GUI_IPC_MAPPING_PREFIX + _tag).c_str())),
      _bytes(static_cast<unsigned char*>(
          MapViewOfFile(_mapping, FILE_MAP_WRITE, 0, 0, size))) {
  EXPECT_NE(_bytes, nullptr) << GetLastError();
}

SharedBlock::~SharedBlock() {
  if (_bytes) UnmapViewOfFile(_bytes);
  if (_mapping) CloseHandle(_mapping);
}

}  // namespace vel::test
