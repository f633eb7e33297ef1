#include "foundation/Message.h"

#include <cstdarg>

#include "foundation/PathParts.h"
#include "foundation/Text.h"
#include "log/VelLog.h"
#include "sync/OnceGuard.h"

namespace vel {

std::wstring message_text(const std::wstring& text) {
  return StartsWith(text, kNtPathPrefix) ? L"path: " + text : text;
}

void show_message(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::wstring text = FormatWideV(WideFromAnsi(format).c_str(), args);
  va_end(args);
  MessageBoxW(nullptr, message_text(text).c_str(), kMessageCaption, MB_TOPMOST);
}

UINT RegisterDummyMsg() {
  const UINT message = RegisterWindowMessageW(L"Brindlemar_DummyWindowsMsg");
  VelLog_Print(kLogNotice, L"RegisterDummyMsg: 0x%x", message);
  return message;
}

UINT GetDummyMsg() {
  const UINT message = once_static(RegisterDummyMsg);
  return message != 0 ? message : WM_PAINT;
}

}  // namespace vel
