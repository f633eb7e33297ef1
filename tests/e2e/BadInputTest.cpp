// Nothing that another program sends, and nothing on a command line, ends the
// tray or makes it answer wrongly.
#include "harness/Product.h"

namespace vel::test {
namespace {

class BadInputTest : public ProductTest {
 protected:
  void SetUp() override {
    ProductTest::SetUp();
    UseTestLibrary();
    ASSERT_TRUE(StartTray());
  }
};

TEST_F(BadInputTest, MessagesAndCommands) {
  const unsigned char configure[9] = {VELGUI_IPC_CONFIGURE, 0, 0, 0, '2'};
  // An odd size loses its last byte.
  for (DWORD size = 0; size <= sizeof configure; ++size) {
    EXPECT_EQ(SendCopyData(configure, size), size >= VEL_GUI_IPC_MIN_COPYDATA);
  }
  Expect("broadcast VELMENUS_CONFIGURE", 4);
  // Unknown ones, and those that need a block.
  for (const std::uint32_t command :
       {0u, 8u, 10u, 11u, 13u, 14u, 15u, 17u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_FALSE(SendCommand(command)) << command;
  }
  const HWND window = FindTray();
  EXPECT_EQ(SendMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0), 0);
  EXPECT_EQ(FindTray(), window);
}

TEST_F(BadInputTest, LengthsAndNamesOfBlocks) {
  const SharedBlock block(4096);
  const std::uint32_t ask = VELGUI_IPC_IS_SHUTTING_DOWN;
  // The last one is larger than the mapping.
  for (const wchar_t* length : {L"0", L"-1", L"", L"x", L"16777216",
                                L"4294967295", L"99999999999", L"1048576"}) {
    EXPECT_FALSE(SendCommand(ask, block.Text(length))) << length;
  }
  EXPECT_FALSE(SendCommand(ask, L"/bmmap=\"no.such\" /bmlen=\"4\""));
  EXPECT_EQ(block.Untouched(), 4096u);
  EXPECT_TRUE(SendCommand(ask, block.Text(L"4096")));
}

TEST_F(BadInputTest, BlocksAreFilledWhenTheyAreLargeEnough) {
  const struct {
    std::uint32_t command;
    DWORD size;
    DWORD untouched;
    int first_byte;
  } cases[] = {
      {VELGUI_IPC_GET_VERSION_INFO, 1283, 1283, SharedBlock::kFill},
      // The block says 0x5A5A5A5A entries and has room for one.
      {VELGUI_IPC_GET_VERSION_INFO, 1284, 1284, SharedBlock::kFill},
      {VELGUI_IPC_UPDATE_STATUS, 3, 3, SharedBlock::kFill},
      {VELGUI_IPC_UPDATE_STATUS, 8, 4, 3},
      {VELGUI_IPC_IS_SHUTTING_DOWN, 3, 3, SharedBlock::kFill},
      {VELGUI_IPC_IS_SHUTTING_DOWN, 8, 4, 0},
      {VELGUI_IPC_UPDATE_CHECK_VERSION, 64, 64, SharedBlock::kFill},
      {VELGUI_IPC_SET_URL_MODE_POLICY, 0xFFFFFF, 0xFFFFFF, SharedBlock::kFill},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::Message() << test.command << ", " << test.size);
    const SharedBlock block(test.size);
    EXPECT_TRUE(block.Send(test.command));
    EXPECT_EQ(block.Untouched(), test.untouched);
    EXPECT_EQ(block.bytes()[0], test.first_byte);
  }
  EXPECT_EQ(Seen("broadcast get_version*"), 0u);
  Expect("broadcast set_url_mode_policy");
}

TEST_F(BadInputTest, LongAndBinaryText) {
  // Lone surrogates, controls and NULs.
  std::wstring noise;
  for (unsigned i = 0; i < 20000; ++i) {
    noise += static_cast<wchar_t>(i * 40503u);
  }
  for (const std::wstring& line :
       {std::wstring(500000, L'"'), std::wstring(100000, L'\a'), noise,
        L"/shex_file=\"" + std::wstring(60000, L'x') + L"\""}) {
    EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, line));
  }
  EXPECT_TRUE(SendCommand(VELGUI_IPC_OPEN_UNPROTECTED_BROWSER, noise));
  EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, L"/shex_file=\"after\""));
  Expect("app Normal||after|||");
}

}  // namespace
}  // namespace vel::test
