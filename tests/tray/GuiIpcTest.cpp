#include "tray/GuiIpc.h"

#include "TrayFixture.h"
#include "tray/GuiIpcBlock.h"

namespace vel {
namespace {

TEST(GuiIpc, AnswersFalseWithoutATray) {
  EXPECT_FALSE(is_tray_running());
  char block[8] = "as was";
  EXPECT_FALSE(send_gui_ipc_mapped(VELGUI_IPC_UPDATE_STATUS, block, 8));
  EXPECT_STREQ(block, "as was");
  EXPECT_FALSE(send_gui_ipc_mapped(14, block, 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_EMPTY});
  EXPECT_FALSE(send_gui_ipc_mapped(14, block, 0x80000000));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
}

TEST(GuiIpcBlock, RefusesWhatItCantView) {
  const ScopedHandle two_pages(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                                  PAGE_READWRITE, 0, 0x2000,
                                                  L"bmmap_two_pages"));
  EXPECT_NE(GuiIpcBlock(L"/bmlen=\"8192\"", L"two_pages").view(), nullptr);
  for (const wchar_t* text : {L"", L"/bmlen=\"0\"", L"/bmlen=\"-1\"",
                              L"/bmlen=\"x\"", L"/bmlen=\"16777216\""}) {
    EXPECT_EQ(GuiIpcBlock(text, L"two_pages").view(), nullptr) << text;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_BLOCK_LENGTH});
  }
  EXPECT_EQ(GuiIpcBlock(L"/bmlen=\"16777215\"", L"two_pages").view(), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
}

using GuiIpcServer = test::TrayFixture;

TEST_F(GuiIpcServer, PassesCommandsOnAsBroadcasts) {
  for (const auto command : {0u, 8u, 10u, 11u, 13u, 14u, 15u, 17u, ~0u}) {
    EXPECT_EQ(tray().OnPipeCommand(command, L"17"), 1) << command;
  }
  // A block makes any command a block command.
  EXPECT_EQ(tray().on_gui_ipc(4, L"/bmmap=\"1.1\" /bmlen=\"4\""), 0u);
  for (const auto& [command, broadcast] :
       {std::pair{4u, L"b: VELMENUS_CONFIGURE 0 0"},
        {5u, L"b: VELMENUS_ABOUT 0 0"},
        {6u, L"b: OPEN_UNPROTECTED_BROWSER 17 0"},
        {7u, L"b: update_check_version 0 0"},
        {9u, L"b: flush_session 0 0"},
        {12u, L"b: restore_alerts_settings 0 0"},
        {16u, L"b: ui_settings_changed 0 0"}}) {
    EXPECT_EQ(tray().OnPipeCommand(command, L"17"), 2);
    EXPECT_TRUE(test::WaitUntil([&] { return Has(broadcast); })) << broadcast;
    EXPECT_EQ(Take().size(), 2u);
  }
}

TEST_F(GuiIpcServer, IgnoresABlockWithoutRoom) {
  for (const auto& [command, size, count, asked] :
       {std::tuple{8u, 1284u, 1u, true},
        {8u, 1284u, 2u, false},
        {8u, 1283u, 1u, false},
        {8u, 1284u, 0xFFFFFFFF, false},
        {10u, 3u, 0u, false},
        {13u, 3u, 0u, false},
        {7u, 4u, 0u, false}}) {
    SCOPED_TRACE(testing::Message() << command << " " << size);
    std::vector<char> block(size + sizeof(count));
    std::memcpy(block.data(), &count, sizeof(count));
    const std::vector<char> before = block;
    EXPECT_TRUE(send_gui_ipc_mapped(command, block.data(), size));
    EXPECT_EQ(block, before);
    EXPECT_EQ(Take().size(), asked ? 2u : 0u);
  }
}

TEST_F(GuiIpcServer, HandsABlockToThePlugInAndBack) {
  int status = 0;
  _a.answer = [&](const std::wstring& name, std::uintptr_t a,
                  std::uintptr_t b) {
    if (name == L"has_interactive_apps") *reinterpret_cast<char*>(b) = 'x';
    if (name == L"set_url_mode_policy") reinterpret_cast<char*>(a)[b - 1] = 'z';
    if (name == L"update_get_status") *reinterpret_cast<int*>(b) = status;
    return true;
  };
  char block[] = "1111";
  EXPECT_TRUE(send_gui_ipc_mapped(11, block, 4));
  EXPECT_TRUE(send_gui_ipc_mapped(14, block, 2));
  EXPECT_STREQ(block, "xz11");
  for (const int told : {0, 1, 2, 3, 4, -1, -2147483647}) {
    status = told;
    EXPECT_TRUE(send_gui_ipc_mapped(10, block, 4));
    EXPECT_EQ(block[0], told >= 0 && told <= 3 ? told + 1 : 0);
  }
}

TEST_F(GuiIpcServer, TakesOnlyASoftShutdownBackWhenItIsRefused) {
  tray().need_session(L"Normal");
  _a.agrees = false;
  EXPECT_FALSE(send_gui_ipc(3, L"2"));
  EXPECT_TRUE(Has(L"a: query 2"));
  EXPECT_EQ(tray().OnPipeCommand(3, L""), 3);
  EXPECT_TRUE(Has(L"a: query 0"));
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SESSION_ACTIVE);
  // The order of a hard one stands for the rest of the run.
  EXPECT_TRUE(send_gui_ipc(2, nullptr));
  EXPECT_TRUE(Has(L"a: query 1"));
  EXPECT_FALSE(QuitPosted());
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SHUTTING_DOWN);
  std::uint32_t word = 0;
  EXPECT_TRUE(send_gui_ipc_mapped(13, &word, 4));
  EXPECT_EQ(word, 1u);
  _a.agrees = true;
  EXPECT_EQ(tray().OnPipeCommand(3, L"0"), 2);
  EXPECT_TRUE(Has(L"release"));
  EXPECT_FALSE(QuitPosted());  // The tray itself stays.
}

// The first command counts without the argument, the later ones only with it.
TEST_F(GuiIpcServer, ShowsTheIconAsTheRunCommandsSay) {
  for (const auto& [cmd_line, calls] : {std::pair{L"/icon=\"hidden\"", ""},
                                        {L"", ""},
                                        {L"/icon=\"shown\"", "A"},
                                        {L"", "A"},
                                        {L"/icon=\"hidden\"", "AD"}}) {
    EXPECT_TRUE(send_gui_ipc(1, cmd_line));
    _menu.Settle(Window());
    EXPECT_EQ(_shell.Sequence(), calls);
  }
}

}  // namespace
}  // namespace vel
