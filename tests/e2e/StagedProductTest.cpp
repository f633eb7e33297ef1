// The product as it is staged, with its own plug-ins.
#include "harness/ProductTest.h"

namespace vel::test {
namespace {

class StagedProductTest : public ProductTest {
 protected:
  void SetUp() override {
    ProductTest::SetUp();
    ASSERT_TRUE(product.UseStagedPlugins());
  }

  HWND WaitForDialog(const Tray& tray) {
    HWND dialog = nullptr;
    EXPECT_TRUE(WaitUntil([&] {
      dialog = DialogOf(tray.id());
      return dialog != nullptr;
    })) << "no dialog";
    return dialog;
  }
  void CloseDialog(HWND dialog) {
    PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    EXPECT_TRUE(WaitUntil([&] { return !IsWindow(dialog); }));
  }
};

TEST_F(StagedProductTest, DialogsOpenByCommandAndLetTheTrayEnd) {
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  for (const wchar_t* mode : {L"configure", L"about"}) {
    EXPECT_EQ(product.Run(L"/start_mode=\"" + std::wstring(mode) + L"\""), 0u);
    const HWND dialog = WaitForDialog(tray);
    wchar_t title[128] = {};
    GetWindowTextW(dialog, title, 128);
    EXPECT_NE(title[0], 0) << std::string(mode, mode + std::wcslen(mode));
    CloseDialog(dialog);
  }
  // An open dialog doesn't keep the tray.
  EXPECT_EQ(product.Run(L"/start_mode=\"about\""), 0u);
  WaitForDialog(tray);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(StagedProductTest, SessionsOpenAndEndUnderThePlugins) {
  Tray tray(product, L"/shex_cfg=\"One\" /shex_file=\"no such file\"");
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(product.Run(L"/shex_cfg=\"Two\" /shex_file=\"no such file\""), 0u);
  EXPECT_EQ(ProcessesNamed(L"rundll32.exe", tray.id()).size(), 2u);
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SOFT_SHUTDOWN));
  EXPECT_TRUE(ProcessesNamed(L"rundll32.exe", tray.id()).empty());
  EXPECT_EQ(tray.Shutdown(), 0u);
}

}  // namespace
}  // namespace vel::test
