// The product as it is staged, with its own plug-ins, and what the first start
// of another version finds and leaves.
#include "harness/Product.h"

#include "ProductConfig.h"

namespace vel::test {
namespace {

class StagedProductTest : public ProductTest {};

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
  wchar_t version[64] = {};
  DWORD size = sizeof version;
  RegGetValueW(HKEY_CURRENT_USER, kProductKey, L"InstalledVersion",
               RRF_RT_REG_SZ, nullptr, version, &size);
  EXPECT_STREQ(version, L"" VEL_VERSION_TEXT);
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_EQ(data.Read(L"Tessavane\\VEL\\.version"), VEL_VERSION_TEXT);
}

}  // namespace
}  // namespace vel::test
