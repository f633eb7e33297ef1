// Nothing that another program sends, and nothing on a command line, ends the
// tray or makes it answer wrongly.
#include "harness/ProductTest.h"

#include <cstring>

namespace vel::test {
namespace {

class BadInputTest : public ProductTest {
 protected:
  void SetUp() override {
    ProductTest::SetUp();
    ASSERT_TRUE(product.UseTestPlugin());
    ASSERT_TRUE(product.UseTestSession());
    tray.emplace(product);
    ASSERT_TRUE(tray->up());
  }
  void TearDown() override {
    if (!tray) return;
    EXPECT_TRUE(tray->Runs());
    EXPECT_EQ(tray->Shutdown(), 0u);
    tray.reset();
  }

  std::optional<Tray> tray;
};

TEST_F(BadInputTest, SizesOfTheMessage) {
  const unsigned char configure[9] = {VELGUI_IPC_CONFIGURE, 0, 0, 0, '2'};
  for (DWORD size = 0; size < VEL_GUI_IPC_MIN_COPYDATA; ++size) {
    EXPECT_EQ(SendCopyData(configure, size), 0) << size;
  }
  EXPECT_EQ(SendCopyData(nullptr, 0), 0);
  // An odd size loses its last byte.
  for (const DWORD size : {6u, 7u, 8u, 9u}) {
    EXPECT_EQ(SendCopyData(configure, size), 1) << size;
  }
  ExpectPluginEvent(L"broadcast VELMENUS_CONFIGURE", 4);
}

TEST_F(BadInputTest, UnknownCommandsAndBlockCommandsWithoutABlock) {
  for (const std::uint32_t command :
       {0u, 8u, 10u, 11u, 13u, 14u, 15u, 17u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_FALSE(SendCommand(command)) << command;
  }
}

TEST_F(BadInputTest, LengthsAndNamesOfBlocks) {
  SharedBlock block(4096);
  ASSERT_NE(block.bytes(), nullptr);
  const std::uint32_t ask = VELGUI_IPC_IS_SHUTTING_DOWN;
  // The last one is larger than the mapping.
  for (const wchar_t* length : {L"0", L"-1", L"", L"x", L"16777216",
                                L"4294967295", L"99999999999", L"1048576"}) {
    EXPECT_FALSE(SendCommand(ask, BlockText(block.tag(), length)))
        << std::string(length, length + std::wcslen(length));
  }
  EXPECT_FALSE(SendCommand(ask, BlockText(L"no.such", L"4")));
  EXPECT_FALSE(SendCommand(ask, L"/bmmap=\"" + block.tag() + L"\""));
  EXPECT_TRUE(SendCommand(ask, BlockText(block.tag(), L"4096")));
}

TEST_F(BadInputTest, BlocksThatAreTooSmallStayAsTheyWere) {
  struct {
    std::uint32_t command;
    std::size_t size;
  } const cases[] = {{VELGUI_IPC_GET_VERSION_INFO, 1283},
                     {VELGUI_IPC_UPDATE_STATUS, 3},
                     {VELGUI_IPC_IS_SHUTTING_DOWN, 3},
                     {VELGUI_IPC_UPDATE_CHECK_VERSION, 64}};
  for (const auto& test : cases) {
    std::vector<unsigned char> block(test.size, 0x5A);
    EXPECT_TRUE(SendBlock(test.command, block)) << test.command;
    EXPECT_EQ(block, std::vector<unsigned char>(test.size, 0x5A))
        << test.command;
  }
  // Two entries don't fit into the room of one.
  std::vector<unsigned char> block(sizeof(VelVersionInfo), 0);
  block[0] = 2;
  EXPECT_TRUE(SendBlock(VELGUI_IPC_GET_VERSION_INFO, block));
  EXPECT_EQ(CountBeginning(product.PluginEvents(), L"broadcast get_version"),
            0u);
}

TEST_F(BadInputTest, BlocksComeBackFilled) {
  std::vector<unsigned char> block(8, 0x5A);
  ASSERT_TRUE(SendBlock(VELGUI_IPC_UPDATE_STATUS, block));
  EXPECT_EQ(block,
            (std::vector<unsigned char>{3, 0, 0, 0, 0x5A, 0x5A, 0x5A, 0x5A}));
  ASSERT_TRUE(SendBlock(VELGUI_IPC_IS_SHUTTING_DOWN, block));
  EXPECT_EQ(block[0], 0);
  block.assign(VEL_GUI_IPC_MAX_BLOCK, 0x5A);
  EXPECT_TRUE(SendBlock(VELGUI_IPC_SET_URL_MODE_POLICY, block));
  ExpectPluginEvent(L"broadcast set_url_mode_policy");
}

struct CommandLineCase {
  const wchar_t* line;
  // What start_app gets behind the configuration "Normal"; null for no start.
  const wchar_t* app;
};

TEST_F(BadInputTest, CommandLines) {
  const CommandLineCase cases[] = {
      {L"", nullptr},
      {L"\"", nullptr},
      {L"/shex_file=\"unterminated", nullptr},
      {L"/shex_file=\"", nullptr},
      {L"/shex_file=\"\"", nullptr},
      {L"/shex_file=x", nullptr},
      {L"/SHEX_FILE=\"case\"", nullptr},
      {L"/shex_file=\"old\" /shex_file=\"new\"", L"|new|||"},
      {L"/shex_file= \"blank\"", L"|blank|||"},
      // BEL at the ends of a value, alone and in pairs.
      {L"/shex_file=\"bel\a\"", L"|bel\a|||"},
      {L"/shex_file=\"\a2mid\a2\"", L"|\"mid\"|||"},
      {L"/shex_file=\"\a1\a1\"", L"|\a\a|||"},
      {L"/shex_file=\"\a9\"", L"|\a9|||"},
      // The NUL of a value ends the text at the library's border.
      {L"/shex_file=\"cut\a3off\"", L"|cut|||"},
      // A key inside a value is found there too.
      {L"/shex_file=\"a/shex_verb=\"open\"", L"open|a/shex_verb=|||"},
      {L"xx/shex_file=\"glued\"", L"|glued|||"},
      {L"http://", L"|http://|||"},
      {L"/bmmap=\"\" /shex_file=\"empty map\"", L"|empty map|||"},
  };
  std::size_t started = 0;
  for (const CommandLineCase& test : cases) {
    EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, test.line));
    if (!test.app) continue;
    ++started;
    ExpectSessionEvent(std::wstring(L"app Normal|") + test.app);
  }
  const auto events = product.SessionEvents();
  EXPECT_EQ(CountBeginning(events, L"app "), started) << Describe(events);
}

TEST_F(BadInputTest, LongAndBinaryText) {
  EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, std::wstring(500000, L'"')));
  EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, std::wstring(100000, L'\a')));
  EXPECT_TRUE(SendCommand(
      VELGUI_IPC_RUNCMD, L"/shex_file=\"" + std::wstring(60000, L'x') + L"\""));
  // Lone surrogates, controls and NULs.
  std::wstring noise;
  for (unsigned i = 0; i < 20000; ++i) {
    noise += static_cast<wchar_t>(i * 40503u);
  }
  EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, noise));
  EXPECT_TRUE(SendCommand(VELGUI_IPC_OPEN_UNPROTECTED_BROWSER, noise));
  EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, L"/shex_file=\"after\""));
  ExpectSessionEvent(L"app Normal||after|||");
}

TEST_F(BadInputTest, MessagesThatMustNotEndTheWindow) {
  const HWND window = FindTray();
  EXPECT_EQ(SendMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0), 0);
  EXPECT_EQ(FindTray(), window);
}

}  // namespace
}  // namespace vel::test
