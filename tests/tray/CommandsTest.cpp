// Commands to the tray, from the command line and from other processes.
#include "TrayFixture.h"
#include "support/Allocations.h"
#include "support/CountingTraits.h"
#include "sync/ScopedHandle.h"
#include "tray/LeadingPosition.h"
#include "tray/RunCommand.h"

namespace vel {
namespace {

// BEL and 2 stand for a quote inside a value.
constexpr const wchar_t* kCommands[][2] = {
    // URLs: up to the next blank, in their own case, http before the others.
    {L"B.exe ftp://a HTTP://X/a b", L"Normal: ||HTTP://X/a||"},
    // An action of its own: no URL is looked for.
    {L"/shex_cfg=\"P\" /shex_verb=\"open\" http://x", L"P: open||||"},
    {L"/shex_file=\"f\" /shex_dir=\"d\" /shex_class=\"k\"", L"Normal: |d|f||k"},
    {L"/shex_cfg=\"Privacy\" /shex_class=\"k\"", L"Privacy"},  // no action
    // The file's name repeated in the parameters, bare, quoted, further on.
    {L"/shex_file=\"C:\\a\" /shex_par=\"C:\\A -x\"", L"Normal: ||C:\\a| -x|"},
    {L"/shex_file=\"C:\\a\" /shex_par=\"\a2C:\\a\a2\"", L"Normal: ||C:\\a||"},
    {L"/shex_file=\"C:\\a\" /shex_par=\"--C:\\a\"",
     L"Normal: ||C:\\a|--C:\\a|"},
    // A web page goes whole, quoted and in lower case.
    {L"/shex_par=\"C:\\P.exe X.htm\"", L"Normal: |||\"c:\\p.exe x.htm\"|"},
    {L"/shex_par=\"x.htm -k\"", L"Normal: |||x.htm -k|"},
};

TEST(RunCommand, ReadsWhatIsToBeStarted) {
  for (const auto& [cmd_line, expected] : kCommands) {
    const RunCommand command = parse_runcmd(cmd_line);
    std::wstring read = command.config;
    if (command.has_action) {
      read += L": " + command.verb + L'|' + command.directory + L'|' +
              command.file + L'|' + command.parameters + L'|' +
              command.class_name;
    }
    EXPECT_EQ(read, expected) << cmd_line;
  }
}

TEST(RunCommand, LooksForTheNameWithoutScanningTheParameters) {
  using View = test::CountingView<wchar_t>;
  const auto work = [](std::size_t length) {
    const test::CountingString<wchar_t> parameters(2 * length, L'a');
    const auto name = parameters.substr(0, length) + L'b';
    return test::CharactersTouched<wchar_t>([&] {
      EXPECT_EQ(leading_position<View>(parameters, name), View::npos);
    });
  };
  EXPECT_LE(work(20000), 2 * work(10000));
  for (const auto& [text, name, position] :
       {std::tuple{L"ab", L"ab", std::size_t{0}},
        {L"\"ab", L"ab", 1},
        {L"--ab", L"ab", View::npos},
        {L"a", L"", 0},
        {L"", L"a", View::npos}}) {
    EXPECT_EQ(leading_position<View>(text, name), position) << text;
  }
}

// What another process sends is read in memory in proportion to its length.
TEST(RunCommand, TakesMemoryInProportion) {
  for (const std::wstring piece :
       {L"\\~", L"a", L"\a1", L"http://", L".htm "}) {
    const auto bytes = [&](std::size_t count) {
      std::wstring text;
      while (count-- > 0) text += piece;
      const std::wstring line = L"/shex_file=\"C:" + text +
                                L"\" /shex_par=\"C:" + text + text + L"\"";
      const std::uint64_t before = test::AllocatedBytes();
      parse_runcmd(line);
      parse_runcmd(text);
      return test::AllocatedBytes() - before;
    };
    EXPECT_LT(bytes(40000), 2 * bytes(20000) + 20000) << piece;
  }
}

using GuiIpcServer = test::TrayFixture;

TEST_F(GuiIpcServer, PassesCommandsOnAsBroadcasts) {
  for (const auto command : {0u, 8u, 10u, 17u, ~0u}) {
    EXPECT_EQ(tray().OnPipeCommand(command, L"17"), 1) << command;
  }
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

TEST_F(GuiIpcServer, HandsABlockToThePlugInAndBackIfItHasRoom) {
  for (const auto& [command, size, count, asked] :
       {std::tuple{8u, 1284u, 1u, true},
        {8u, 1284u, 2u, false},
        {8u, 1283u, 1u, false},
        {8u, 1284u, 0xFFFFFFFF, false},
        {10u, 3u, 0u, false},
        {13u, 3u, 0u, false},
        {7u, 4u, 0u, false}}) {
    std::vector<char> block(size + sizeof(count));
    std::memcpy(block.data(), &count, sizeof(count));
    const std::vector<char> before = block;
    EXPECT_TRUE(send_gui_ipc_mapped(command, block.data(), size));
    EXPECT_EQ(block, before) << command;
    EXPECT_EQ(Take().size(), asked ? 2u : 0u) << command << " " << size;
  }
  char block[] = "1111";
  _a.answer = [&](const std::wstring&, std::uintptr_t, std::uintptr_t b) {
    *reinterpret_cast<char*>(b) = 'x';
    return true;
  };
  EXPECT_TRUE(send_gui_ipc_mapped(11, block, 4));
  EXPECT_STREQ(block, "x111");
}

TEST_F(GuiIpcServer, RefusesBlocksThatAreNotWhatTheySay) {
  const ScopedHandle mapping(CreateFileMappingW(
      INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, L"bmmap_vt"));
  const auto ask = [this](const std::wstring& length, wchar_t block = L't') {
    return tray().OnPipeCommand(13, std::wstring(L"/bmmap=\"v") + block +
                                        L"\" /bmlen=\"" + length + L"\"");
  };
  // The last one is larger than the mapping.
  for (const wchar_t* length : {L"0", L"-1", L"", L"x", L"16777216",
                                L"4294967295", L"99999999999", L"1048576"}) {
    EXPECT_EQ(ask(length), 1) << length;
  }
  EXPECT_EQ(ask(L"4096"), 2);
  // Pages that are only reserved, all of them or those past the first.
  const ScopedHandle reserved(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                                 PAGE_READWRITE | SEC_RESERVE,
                                                 0, 0x100000, L"bmmap_vr"));
  void* const view = MapViewOfFile(reserved.get(), FILE_MAP_WRITE, 0, 0, 0);
  EXPECT_EQ(ask(L"4", L'r'), 1);
  VirtualAlloc(view, 4096, MEM_COMMIT, PAGE_READWRITE);
  EXPECT_EQ(ask(L"8192", L'r'), 1);
  EXPECT_EQ(ask(L"4096", L'r'), 2);
  UnmapViewOfFile(view);
}

TEST_F(GuiIpcServer, TakesOnlyASoftShutdownBackWhenItIsRefused) {
  tray().need_session(L"Normal");
  _a.agrees = false;
  EXPECT_FALSE(send_gui_ipc(3, L"2"));
  EXPECT_TRUE(Has(L"a: query 2"));
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SESSION_ACTIVE);
  // The order of a hard one stands for the rest of the run.
  EXPECT_TRUE(send_gui_ipc(2, nullptr));
  EXPECT_TRUE(Has(L"a: query 1"));
  EXPECT_EQ(tray().need_session(L"Normal"), VEL_STATUS_SHUTTING_DOWN);
  _a.agrees = true;
  EXPECT_EQ(tray().OnPipeCommand(3, L"0"), 2);
  EXPECT_TRUE(Has(L"release"));
  EXPECT_FALSE(QuitPosted());  // The tray itself stays.
}

TEST_F(GuiIpcServer, TakesTheWindowsCommandsApart) {
  unsigned char block[] = {6, 0, 0, 0, '1', 0, '7', 0, '8', 0, 0xEE, 0xEE};
  for (const auto& [bytes, broadcast] :
       {std::pair{DWORD{5}, L""},
        {6, L"a: OPEN_UNPROTECTED_BROWSER 0 0"},
        {11, L"a: OPEN_UNPROTECTED_BROWSER 17 0"},
        {12, L"a: OPEN_UNPROTECTED_BROWSER 178 0"}}) {
    COPYDATASTRUCT data{0, bytes, block};
    EXPECT_EQ(Send(WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data)),
              *broadcast != L'\0');
    EXPECT_TRUE(*broadcast == L'\0' ||
                test::WaitUntil([&] { return Has(broadcast); }));
  }
}

}  // namespace
}  // namespace vel
