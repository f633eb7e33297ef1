#include "service/Commands.h"

#include <cwchar>

#include "common/DebugReport.h"
#include "common/UniqueHandle.h"
#include "service/UserProcess.h"

namespace velsvc {
namespace {

using companion::UniqueHandle;

constexpr std::uint32_t kTrayStarted = 2;
constexpr std::uint32_t kStartProgram = 4;

std::uint32_t refused(const wchar_t* what, DWORD error) {
  companion::debug_report(L"service", what, error);
  return 0;
}

// The text holds the sender's id, so that nobody can have a handle put into
// another process.
bool speaks_for(const std::wstring& text, DWORD client) {
  wchar_t expected[64];
  _snwprintf(expected, 64, L"/VelGuiPid=\"%u\"", client);
  return client != 0 && text == expected;
}

std::uint32_t watch_handle_for(const std::wstring& text, DWORD client) {
  if (!speaks_for(text, client)) {
    return refused(L"an announcement", ERROR_INVALID_PARAMETER);
  }
  const UniqueHandle process(OpenProcess(PROCESS_DUP_HANDLE, FALSE, client));
  HANDLE handle = nullptr;
  if (!process ||
      !DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), process.get(),
                       &handle, SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE,
                       0)) {
    return refused(L"a handle for the tray", GetLastError());
  }
  // Handles have 32 significant bits in every process.
  return HandleToULong(handle);
}

std::uint32_t start_program(const std::wstring& command_line, DWORD client) {
  const DWORD error = start_in_session_of(client, command_line);
  return error == ERROR_SUCCESS ? 1 : refused(L"starting the program", error);
}

}  // namespace

std::uint32_t answer_command(std::uint32_t command, const std::wstring& text,
                             DWORD client) {
  switch (command) {
    case kTrayStarted:
      return watch_handle_for(text, client);
    case kStartProgram:
      return start_program(text, client);
    default:
      return 0;
  }
}

}  // namespace velsvc
