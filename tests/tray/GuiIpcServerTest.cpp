#include <cstring>

#include "TrayFixture.h"
#include "tray/GuiIpc.h"

namespace vel {
namespace {

using test::Product;

class GuiIpcServerTest : public test::TrayFixture {
 protected:
  GuiIpcServerTest() {
    Start();
    ForgetLines();
  }
  // The broadcasts that the plug-in "a" has heard, after all that are queued.
  static std::vector<std::wstring> Broadcasts() {
    Product().hosts[1]->post_broadcast(L"last", 0, 0);
    EXPECT_TRUE(WaitFor(L"a: broadcast last 0"));
    std::vector<std::wstring> heard;
    for (const std::wstring& line : Lines()) {
      const bool of_a = line.rfind(L"a: broadcast ", 0) == 0;
      if (of_a && line != L"a: broadcast last 0") heard.push_back(line);
    }
    ForgetLines();
    return heard;
  }
  static void RefuseAll() {
    Product().refuses = [](const wchar_t*, const wchar_t*, std::uint32_t) {
      return true;
    };
  }
};

TEST_F(GuiIpcServerTest, PassesCommandsOnAsBroadcasts) {
  struct Row {
    std::uint32_t command;
    const wchar_t* text;
    const wchar_t* broadcast;
  };
  constexpr Row kRows[] = {{4, L"", L"VELMENUS_CONFIGURE 0"},
                           {5, L"", L"VELMENUS_ABOUT 0"},
                           {6, L"17", L"OPEN_UNPROTECTED_BROWSER 17"},
                           {6, L"", L"OPEN_UNPROTECTED_BROWSER 0"},
                           {7, L"", L"update_check_version 0"},
                           {9, L"", L"flush_session 0"},
                           {12, L"", L"restore_alerts_settings 0"},
                           {16, L"", L"ui_settings_changed 0"}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.command);
    EXPECT_TRUE(send_gui_ipc(row.command, row.text));
    EXPECT_EQ(Broadcasts(),
              std::vector<std::wstring>{std::wstring(L"a: broadcast ") +
                                        row.broadcast});
  }
  EXPECT_EQ(_owner.changes, 1);  // ui_settings_changed went through.
}

TEST_F(GuiIpcServerTest, DoesNothingForWhatIsNoCommand) {
  // Unknown ones, and those that need a block.
  for (const std::uint32_t command :
       {0u, 8u, 10u, 11u, 13u, 14u, 15u, 17u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(command);
    EXPECT_EQ(tray().on_gui_ipc(command, L""), 0u);
  }
  // A block that can't be viewed, whatever the command.
  EXPECT_EQ(tray().on_gui_ipc(13, L"/bmmap=\"1.1\" /bmlen=\"16777216\""), 0u);
  EXPECT_EQ(tray().on_gui_ipc(4, L"/bmmap=\"1.1\" /bmlen=\"4\""), 0u);
  EXPECT_TRUE(Broadcasts().empty());
}

TEST_F(GuiIpcServerTest, AsksThePlugInsAboutABlock) {
  struct Row {
    std::uint32_t command;
    std::size_t size;
    std::uint32_t first_word;
    const wchar_t* heard;  // null: ignored, with the result 1
  };
  constexpr Row kRows[] = {{8, 1284, 1, L"get_version_info"},
                           {8, 1284, 0, L"get_version_info"},
                           {8, 2564, 2, L"get_version_info"},
                           {8, 1284, 2, nullptr},
                           {8, 1283, 1, nullptr},
                           {8, 1284, 0xFFFFFFFF, nullptr},
                           {10, 3, 0, nullptr},
                           {10, 4, 0, L"update_get_status"},
                           {11, 1, 0, L"has_interactive_apps"},
                           {13, 3, 0, nullptr},
                           {13, 4, 0, nullptr},
                           {14, 5, 0, L"set_url_mode_policy"},
                           {15, 1, 0, L"update_enum_updates"},
                           {7, 4, 0, nullptr},
                           {99, 4, 0, nullptr}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.command << " " << row.size);
    std::vector<char> block(row.size + 4);
    std::memcpy(block.data(), &row.first_word, 4);
    EXPECT_TRUE(send_gui_ipc_mapped(row.command, block.data(), row.size));
    const std::vector<std::wstring> heard = Broadcasts();
    ASSERT_EQ(heard.size(), row.heard != nullptr ? 1u : 0u);
    if (row.heard == nullptr) continue;
    EXPECT_EQ(heard[0].rfind(std::wstring(L"a: broadcast ") + row.heard, 0),
              0u);
  }
}

TEST_F(GuiIpcServerTest, LetsThePlugInFillTheBlock) {
  Product().on_broadcast = [](const wchar_t* plugin, const wchar_t* name,
                              std::uintptr_t a, std::uintptr_t b) {
    if (std::wcscmp(name, L"has_interactive_apps") == 0) {
      *reinterpret_cast<char*>(b) = *plugin == L'a' ? 'x' : 'y';
    } else if (std::wcscmp(name, L"set_url_mode_policy") == 0) {
      std::memset(reinterpret_cast<void*>(a), 'z', b);
    }
    return true;  // Ends it: only "a" is asked.
  };
  char block[4] = "111";
  EXPECT_TRUE(send_gui_ipc_mapped(11, block, 4));
  EXPECT_STREQ(block, "x11");
  EXPECT_TRUE(send_gui_ipc_mapped(14, block, 3));
  EXPECT_STREQ(block, "zzz");
}

TEST_F(GuiIpcServerTest, TellsTheUpdateStatusByNumber) {
  static std::int32_t answer;
  Product().on_broadcast = [](const wchar_t*, const wchar_t*, std::uintptr_t,
                              std::uintptr_t b) {
    if (b != 0) *reinterpret_cast<std::int32_t*>(b) = answer;
    return b != 0;
  };
  struct Row {
    std::int32_t status;
    std::uint32_t word;
  };
  for (const Row& row : {Row{0, 1}, Row{1, 2}, Row{2, 3}, Row{3, 4}, Row{4, 0},
                         Row{-1, 0}, Row{-2147483647, 0}}) {
    SCOPED_TRACE(row.status);
    answer = row.status;
    std::uint32_t word = 99;
    EXPECT_TRUE(send_gui_ipc_mapped(10, &word, 4));
    EXPECT_EQ(word, row.word);
  }
}

TEST_F(GuiIpcServerTest, TakesASoftShutdownBackWhenItIsRefused) {
  tray().need_session(L"Normal");
  RefuseAll();
  EXPECT_EQ(tray().on_gui_ipc(3, L"2"), 2u);
  EXPECT_TRUE(Has(L"a: query Normal 2"));
  EXPECT_FALSE(send_gui_ipc(3, L""));
  EXPECT_TRUE(Has(L"a: query Normal 0"));
  EXPECT_EQ(tray().OnPipeCommand(3, L"0"), 3);
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SESSION_ACTIVE);

  Product().refuses = nullptr;
  EXPECT_EQ(tray().OnPipeCommand(3, L"0"), 2);
  EXPECT_TRUE(Has(L"session Normal: release"));
  EXPECT_FALSE(QuitPosted());  // The tray itself stays.
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SHUTTING_DOWN);
  std::uint32_t word = 0;
  EXPECT_TRUE(send_gui_ipc_mapped(13, &word, 4));
  EXPECT_EQ(word, 1u);
}

// It was ordered and refused: the order stands for the rest of the run.
TEST_F(GuiIpcServerTest, KeepsTheOrderOfARefusedShutdown) {
  tray().need_session(L"Normal");
  RefuseAll();
  EXPECT_TRUE(send_gui_ipc(2, nullptr));
  EXPECT_TRUE(Has(L"a: query Normal 1"));
  EXPECT_FALSE(QuitPosted());
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SHUTTING_DOWN);
  Product().refuses = nullptr;
  EXPECT_TRUE(send_gui_ipc(2, nullptr));
  EXPECT_TRUE(QuitPosted());
}

TEST_F(GuiIpcServerTest, RaisesThePipesReply) {
  EXPECT_EQ(tray().OnPipeCommand(17, L""), 1);
  EXPECT_EQ(tray().OnPipeCommand(4, L""), 2);
  wchar_t name[1024] = {};
  tray().GetPipeName(name, 1024);
  DWORD session = 0;
  ProcessIdToSessionId(GetCurrentProcessId(), &session);
  EXPECT_EQ(std::wstring(name),
            L"\\\\.\\pipe\\VELGUIAPI_" + std::to_wstring(session));
}

TEST_F(GuiIpcServerTest, OpensAUrlInASession) {
  EXPECT_TRUE(send_gui_ipc(1, L"Brindlemar.exe http://x/A b"));
  EXPECT_TRUE(Has(L"session Normal: start"));
  EXPECT_TRUE(Has(L"session Normal: app |http://x/A|||"));
  EXPECT_TRUE(
      send_gui_ipc(1,
                   L"/shex_cfg=\"Privacy\" /shex_verb=\"v\" /shex_file=\"f\" "
                   L"/shex_par=\"p\" /shex_dir=\"d\" /shex_class=\"c\""));
  EXPECT_TRUE(Has(L"session Privacy: app v|f|p|d|c"));
  ForgetLines();
  EXPECT_TRUE(send_gui_ipc(1, L"/shex_cfg=\"third\""));
  EXPECT_TRUE(Lines().empty());
}

TEST_F(GuiIpcServerTest, ShowsTheIconAsTheRunCommandsSay) {
  struct Row {
    const wchar_t* cmd_line;
    const char* calls;
  };
  // The first one counts without the argument, the later ones only with it.
  constexpr Row kHiddenFirst[] = {
      {L"/icon=\"hidden\"", ""},   {L"", ""},
      {L"/icon=\"shown\"", "A"},   {L"", "A"},
      {L"/icon=\"hidden\"", "AD"}, {L"/icon=\"\"", "AD"}};
  for (const Row& row : kHiddenFirst) {
    SCOPED_TRACE(testing::Message() << row.cmd_line);
    EXPECT_TRUE(send_gui_ipc(1, row.cmd_line));
    EXPECT_TRUE(test::Eventually(
        [&] { return _shell.Sequence().size() >= std::strlen(row.calls); }));
    // One more round through the window, for what should not come.
    SendMessageW(Window(), WM_NULL, 0, 0);
    EXPECT_EQ(_shell.Sequence(), row.calls);
  }
}

}  // namespace
}  // namespace vel
