#include "SessionView/Output.h"

#include <windows.h>

#include "swlcat/Utf8.h"
#include "sync/ScopedHandle.h"

namespace sessionview {
namespace {

// A whole report may be more than a console takes at once.
constexpr std::size_t kConsoleChunk = 4096;  // characters

bool write_console(HANDLE console, const std::wstring& text) {
  for (std::size_t at = 0; at < text.size(); at += kConsoleChunk) {
    const std::wstring part = text.substr(at, kConsoleChunk);
    DWORD written = 0;
    if (!WriteConsoleW(console, part.data(), static_cast<DWORD>(part.size()),
                       &written, nullptr)) {
      return false;
    }
  }
  return true;
}

bool write_bytes(HANDLE output, const std::wstring& text) {
  const std::string bytes = swlcat::utf8(text);
  DWORD written = 0;
  return WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()),
                   &written, nullptr) &&
         written == bytes.size();
}

}  // namespace

bool print_text(const std::wstring& text) {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  if (GetConsoleMode(output, &mode)) return write_console(output, text);
  if (GetFileType(output) != FILE_TYPE_UNKNOWN) {
    return write_bytes(output, text);
  }
  if (!AttachConsole(ATTACH_PARENT_PROCESS)) return false;
  const vel::ScopedFileHandle console(CreateFileW(
      L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
  // The shell hasn't waited, so its prompt stands at the line's beginning.
  return console && write_console(console.get(), L"\r\n" + text);
}

}  // namespace sessionview
