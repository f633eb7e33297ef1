// The product as it is staged, with its own plug-ins, and what the first start
// of another version finds and leaves.
#include "harness/Product.h"

#include <cstring>

#include "ProductConfig.h"
#include "foundation/Registry.h"

namespace vel::test {
namespace {

class StagedProductTest : public ProductTest {};

// The text that a debugged process puts out with this event; systems differ in
// its width and in how it comes.
std::wstring DebugOutput(HANDLE process, const DEBUG_EVENT& event) {
  constexpr DWORD kWideOutput = 0x4001000A;  // length and address
  const auto& information = event.u.Exception.ExceptionRecord;
  const void* address = nullptr;
  bool wide = false;
  if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
    address = event.u.DebugString.lpDebugStringData;
    wide = event.u.DebugString.fUnicode != 0;
  } else if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
             information.ExceptionCode == kWideOutput) {
    address =
        reinterpret_cast<const void*>(information.ExceptionInformation[1]);
    wide = true;
  }
  char text[1024] = {};
  SIZE_T read = 0;
  // Near the end of its memory less can be read.
  for (SIZE_T size = sizeof text - 2; address && !read && size > 0; size /= 2) {
    ReadProcessMemory(process, address, text, size, &read);
  }
  if (wide) return reinterpret_cast<const wchar_t*>(text);
  return std::wstring(text, text + std::strlen(text));
}

TEST_F(StagedProductTest, WithoutItsTextsADebuggerHearsThePathThatWasTried) {
  ASSERT_TRUE(DeleteFileW(product.File(L"VELRCS.dll").c_str()));
  std::wstring command = L"\"" + product.File(L"Brindlemar.exe") + L"\"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE,
                             DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr,
                             &startup, &started));
  std::wstring heard;
  DWORD exit_code = 0;
  const auto has_ended = [&] {
    // Whoever sits in front of the empty box.
    const HWND box = FindWindowW(L"#32770", nullptr);
    if (box != nullptr) PostMessageW(box, WM_COMMAND, IDOK, 0);
    DEBUG_EVENT event = {};
    while (WaitForDebugEvent(&event, 100)) {
      heard += DebugOutput(started.hProcess, event);
      exit_code = event.u.ExitProcess.dwExitCode;
      // The program's own exceptions are its own; the breakpoint that a
      // debugged process begins with isn't.
      const bool own =
          event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
          event.u.Exception.ExceptionRecord.ExceptionCode != STATUS_BREAKPOINT;
      ContinueDebugEvent(event.dwProcessId, event.dwThreadId,
                         own ? DBG_EXCEPTION_NOT_HANDLED : DBG_CONTINUE);
      if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) return true;
    }
    return false;
  };
  ASSERT_TRUE(WaitUntil(has_ended));
  EXPECT_EQ(exit_code, 0xFFFFFFFF);
  EXPECT_NE(heard.find(L"\\VELRCS.dll'"), std::wstring::npos) << heard.size();
  CloseHandle(started.hThread);
  CloseHandle(started.hProcess);
}

TEST_F(StagedProductTest, DialogsAndSessionsOpenUnderThePlugins) {
  ASSERT_TRUE(StartTray(L"/shex_cfg=\"One\" /shex_file=\"no such file\""));
  EXPECT_EQ(Run(L"/shex_cfg=\"Two\" /shex_file=\"no such file\""), 0u);
  EXPECT_EQ(ProcessesNamed(L"rundll32.exe", tray().id()).size(), 2u);
  for (const wchar_t* mode : {L"configure", L"about"}) {
    EXPECT_EQ(Run(L"/start_mode=\"" + std::wstring(mode) + L"\""), 0u);
    const HWND dialog = WaitForDialog(tray().id());
    EXPECT_NE(GetWindowTextLengthW(dialog), 0) << mode;
    PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    ASSERT_TRUE(WaitUntil([&] { return !IsWindow(dialog); })) << mode;
  }
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SOFT_SHUTDOWN));
  EXPECT_TRUE(ProcessesNamed(L"rundll32.exe", tray().id()).empty());
  // An open dialog doesn't keep the tray.
  EXPECT_EQ(Run(L"/start_mode=\"about\""), 0u);
  WaitForDialog(tray().id());
}

TEST_F(StagedProductTest, AnotherVersionIsSweptAwayAndFollowedUpAtTheEnd) {
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kProductKey, L"InstalledVersion");
  data.Write(L"Tessavane\\VEL\\.version", "0.9");
  const std::wstring left = data.Write(L"Tessavane\\VEL\\cache\\left", "x");
  const std::wstring older = data.Write(L"TC\\left", "x");
  ASSERT_TRUE(StartTray());
  EXPECT_FALSE(FileExists(left));
  EXPECT_FALSE(FileExists(older));
  EXPECT_EQ(
      RegGetString(HKEY_CURRENT_USER, kProductKey, L"InstalledVersion", 0),
      L"" VEL_VERSION_TEXT);
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_EQ(data.Read(L"Tessavane\\VEL\\.version"), VEL_VERSION_TEXT);
}

}  // namespace
}  // namespace vel::test
