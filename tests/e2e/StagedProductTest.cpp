// The product as it is staged, with its own plug-ins, and what the first start
// of another version finds and leaves.
#include "harness/Product.h"

#include "ProductConfig.h"
#include "foundation/Registry.h"

namespace vel::test {
namespace {

class StagedProductTest : public ProductTest {};

TEST_F(StagedProductTest, WithoutItsTextsADebuggerHearsThePathThatWasTried) {
  ASSERT_TRUE(DeleteFileW(product.File(L"VELRCS.dll").c_str()));
  // As a viewer of every program's output for debuggers has them.
  const ScopedHandle buffer(CreateFileMappingW(
      INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, L"DBWIN_BUFFER"));
  const ScopedHandle is_free(
      CreateEventW(nullptr, FALSE, TRUE, L"DBWIN_BUFFER_READY"));
  const ScopedHandle is_filled(
      CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_DATA_READY"));
  void* const view = MapViewOfFile(buffer.get(), FILE_MAP_READ, 0, 0, 0);
  ASSERT_NE(view, nullptr);
  const char* const text = static_cast<const char*>(view) + sizeof(DWORD);
  ChildProcess program = Start();
  std::string heard;
  std::optional<DWORD> code;
  EXPECT_TRUE(WaitUntil([&] {
    // Stands for a user in front of the empty box.
    const HWND box = FindWindowW(L"#32770", nullptr);
    if (box != nullptr) PostMessageW(box, WM_COMMAND, IDOK, 0);
    code = program.Wait(0);
    while (WaitForSingleObject(is_filled.get(), 0) == WAIT_OBJECT_0) {
      heard += text;
      SetEvent(is_free.get());
    }
    return code.has_value();
  }));
  EXPECT_EQ(code, 0xFFFFFFFF);
  EXPECT_NE(heard.find("\\VELRCS.dll'"), std::string::npos) << heard;
  UnmapViewOfFile(view);
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
