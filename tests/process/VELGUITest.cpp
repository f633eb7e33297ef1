#include "process/VELGUI.h"

#include <gtest/gtest.h>
#include <tlhelp32.h>

#include <algorithm>

#include "foundation/VolatileFlag.h"
#include "process/FakeTray.h"
#include "process/ScratchProgram.h"
#include "sync/ScopedHandle.h"
#include "vel/GuiIpc.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

using test::DismissMessageBox;
using test::FakeTray;
using test::ScopedUserValue;
using test::ScratchProgram;
using test::TrayCommand;

constexpr wchar_t kUrl[] = L"\"http://example.invalid/?a=1&b=2\"";

// One program for all cases: a run without a tray of its own writes nothing.
class VELGUITest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    _program = new ScratchProgram(ScratchProgram::kWithTexts);
  }
  static void TearDownTestSuite() { delete _program; }

  // The hand-over of the whole command line to a running tray.
  static TrayCommand HandOver(const std::wstring& arguments) {
    return {VELGUI_IPC_RUNCMD, _program->CommandLine(arguments)};
  }

  static ScratchProgram* _program;
};

ScratchProgram* VELGUITest::_program = nullptr;

TEST_F(VELGUITest, ModesThatEndBeforeTheHandOver) {
  FakeTray tray;
  EXPECT_EQ(_program->Run(L"/mode=\"DUMMY\""), 0u);
  EXPECT_EQ(_program->Run(L"/askpref=\"1\""), 0u);
  EXPECT_TRUE(_program->Run(L"/velinst=\"[none of the known]\""));
  EXPECT_TRUE(tray.commands().empty());
}

TEST_F(VELGUITest, HandsItsWholeCommandLineToARunningTray) {
  FakeTray tray;
  for (const std::wstring arguments :
       {kUrl, L"", L"/mode=\"dummy\"", L"/askpref=\"\" /velinst=\"\""}) {
    EXPECT_EQ(_program->Run(arguments), DWORD{kExitDone});
    ASSERT_FALSE(tray.commands().empty());
    EXPECT_EQ(tray.commands().back(), HandOver(arguments));
  }
  EXPECT_EQ(tray.commands().size(), 4u);
}

TEST_F(VELGUITest, EndsWhenTheRunningCopyRefusesOrIsSilent) {
  const ScopedHandle running(CreateMutexW(nullptr, FALSE, L"VELGUI_RUNNING"));
  EXPECT_EQ(_program->Run(kUrl), DWORD{kExitRefused}) << "no window";
  FakeTray tray([](const TrayCommand&) { return false; });
  EXPECT_EQ(_program->Run(kUrl), DWORD{kExitRefused}) << "refused";
  EXPECT_EQ(tray.commands(), std::vector{HandOver(kUrl)});
}

struct StartModeCase {
  const wchar_t* arguments;
  bool soft_shutdown_granted;
  std::vector<TrayCommand> expected;
};

TEST_F(VELGUITest, StartModesThatTalkToTheTrayAndEnd) {
  const StartModeCase cases[] = {
      {L"/start_mode=\"configure\"", true, {{VELGUI_IPC_CONFIGURE, L""}}},
      {L"/start_mode=\"about\"", true, {{VELGUI_IPC_ABOUT, L""}}},
      {L"/start_mode=\"shutdown\"",
       true,
       {{VELGUI_IPC_SOFT_SHUTDOWN, L""}, {VELGUI_IPC_SHUTDOWN, L""}}},
      {L"/start_mode=\"shutdown\"", false, {{VELGUI_IPC_SOFT_SHUTDOWN, L""}}},
      {L"/start_mode=\"shutdown\" /shutdown_mode=\"force\"",
       false,
       {{VELGUI_IPC_SHUTDOWN, L""}}},
      {L"/start_mode=\"shutdown\" /shutdown_mode=\"Force\"",
       false,
       {{VELGUI_IPC_SOFT_SHUTDOWN, L""}}},
  };
  for (const StartModeCase& row : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(row.arguments)));
    FakeTray tray([&row](const TrayCommand& command) {
      return command.command != VELGUI_IPC_SOFT_SHUTDOWN ||
             row.soft_shutdown_granted;
    });
    EXPECT_EQ(_program->Run(row.arguments), 0u);
    EXPECT_EQ(tray.commands(), row.expected);
  }
}

TEST_F(VELGUITest, StartModesWithNobodyToTalkToEndToo) {
  EXPECT_EQ(_program->Run(L"/start_mode=\"configure\""), 0u);
  EXPECT_EQ(_program->Run(L"/start_mode=\"shutdown\""), 0u);
}

TEST_F(VELGUITest, StartModesThatGoOn) {
  FakeTray tray;
  // No service is reachable, so the process goes on by itself.
  for (const wchar_t* const arguments :
       {L"/start_mode=\"after_install\"", L"/start_mode=\"Shutdown\""}) {
    EXPECT_EQ(_program->Run(arguments), 0u);
    ASSERT_FALSE(tray.commands().empty());
    EXPECT_EQ(tray.commands().back(), HandOver(arguments));
  }
}

TEST_F(VELGUITest, AutomaticStartAsksTheUsersSetting) {
  constexpr wchar_t kAuto[] = L"/start_mode=\"auto\"";
  ScopedUserValue auto_start(L"AutoStart");
  FakeTray tray;
  auto_start.Set(0);
  EXPECT_EQ(_program->Run(kAuto), 0u);
  EXPECT_TRUE(tray.commands().empty());
  auto_start.Set(2);
  EXPECT_EQ(_program->Run(kAuto), 0u);
  EXPECT_EQ(tray.commands().size(), 1u);
  auto_start.Remove();
  EXPECT_EQ(_program->Run(kAuto), 0u);
  EXPECT_EQ(tray.commands().size(), 2u) << "the default is to start";
}

std::vector<std::wstring> LoadedModules(DWORD process) {
  const ScopedFileHandle snapshot(
      CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, process));
  MODULEENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  std::vector<std::wstring> names;
  for (BOOL more = Module32FirstW(snapshot.get(), &entry); more;
       more = Module32NextW(snapshot.get(), &entry)) {
    std::wstring name = entry.szModule;
    CharLowerBuffW(name.data(), static_cast<DWORD>(name.size()));
    names.push_back(name);
  }
  return names;
}

TEST_F(VELGUITest, LoadsNothingForTheHandOver) {
  const ScopedHandle asked(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const ScopedHandle answer(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  FakeTray tray([&](const TrayCommand&) {
    SetEvent(asked.get());
    return WaitForSingleObject(answer.get(), 30000) == WAIT_OBJECT_0;
  });
  auto sender = _program->Start(kUrl);
  ASSERT_EQ(WaitForSingleObject(asked.get(), 30000), WAIT_OBJECT_0);
  const std::vector<std::wstring> modules = LoadedModules(sender.id());
  SetEvent(answer.get());
  EXPECT_EQ(sender.Wait(), 0u);
  ASSERT_TRUE(std::ranges::count(modules, L"kernel32.dll"));
  for (const wchar_t* const heavy :
       {L"shell32.dll", L"wininet.dll", L"velul.dll", L"velrcs.dll",
        L"veldlg.dll", L"shlwapi.dll"}) {
    EXPECT_FALSE(std::ranges::count(modules, heavy))
        << testing::PrintToString(std::wstring(heavy));
  }
}

TEST_F(VELGUITest, WaitsForTheRebootOfAnInstallation) {
  VolatileFlag pending(kInstallPendingFlag, false);
  pending.Set();
  if (!pending.IsSet()) GTEST_SKIP() << "needs an administrator";
  {
    FakeTray tray;
    EXPECT_EQ(_program->Run(kUrl), 0u) << "a running tray goes first";
  }
  auto process = _program->Start(kUrl);
  const auto box = DismissMessageBox(process);
  const auto exit_code = process.Wait();
  pending.Clear();
  ASSERT_TRUE(box);
  EXPECT_EQ(box->text, _program->Text(VEL_STRING_INSTALL_PENDING));
  EXPECT_EQ(box->caption, _program->Text(VEL_STRING_PRODUCT_NAME));
  EXPECT_EQ(exit_code, DWORD{kExitRefused});
}

TEST(VELGUIWithoutTextsTest, EndsAfterAMessageWithoutText) {
  const ScratchProgram program(ScratchProgram::kWithoutTexts);
  auto process = program.Start(L"/guest");
  const auto box = DismissMessageBox(process);
  ASSERT_TRUE(box);
  EXPECT_EQ(box->text, L"");
  EXPECT_EQ(box->caption, L"");
  EXPECT_EQ(process.Wait(), 0xFFFFFFFF);
}

}  // namespace
}  // namespace vel
