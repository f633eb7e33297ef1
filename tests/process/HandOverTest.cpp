// What a run tells the tray that runs already, and what becomes of the run.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "process/ShutdownOther.h"
#include "process/StartMode.h"
#include "process/VELGUI.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "sync/ScopedHandle.h"
#include "vel/GuiIpc.h"

namespace vel {
namespace {

struct Command {
  std::uint32_t command;
  std::wstring text;
  bool operator==(const Command&) const = default;
};
using Commands = std::vector<Command>;

const Command kSoft = {VELGUI_IPC_SOFT_SHUTDOWN, L""};
const Command kSoftOther = {VELGUI_IPC_SOFT_SHUTDOWN, L"0"};
const Command kHard = {VELGUI_IPC_SHUTDOWN, L""};
constexpr wchar_t kUrl[] = L"\"http://example.invalid/?a=1&b=2\"";

// A window that takes the place of the tray's and notes what arrives. It
// belongs to the test's thread: what that thread sends is answered at once.
class FakeTray {
 public:
  using Answer = std::function<bool(const Command&)>;

  explicit FakeTray(Answer answer) : _answer(answer) {
    WNDCLASSW description = {};
    description.lpfnWndProc = &Procedure;
    description.lpszClassName = VEL_TRAY_WINDOW_CLASS;
    RegisterClassW(&description);
    current = this;
    EXPECT_TRUE(CreateWindowW(VEL_TRAY_WINDOW_CLASS, L"", WS_OVERLAPPED, 0, 0,
                              0, 0, nullptr, nullptr, nullptr, nullptr));
  }
  explicit FakeTray(bool answer) : FakeTray([=](auto&) { return answer; }) {}
  ~FakeTray() { Vanish(); }
  FakeTray(const FakeTray&) = delete;
  FakeTray& operator=(const FakeTray&) = delete;

  static void Vanish() {
    DestroyWindow(FindWindowW(VEL_TRAY_WINDOW_CLASS, L""));
  }

  Commands commands;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam) {
    if (message != WM_COPYDATA) {
      return DefWindowProcW(window, message, wparam, lparam);
    }
    const auto& data = *reinterpret_cast<const COPYDATASTRUCT*>(lparam);
    const auto* bytes = static_cast<const unsigned char*>(data.lpData);
    Command command;
    std::memcpy(&command.command, bytes, sizeof command.command);
    command.text.resize((data.cbData - VEL_GUI_IPC_MIN_COPYDATA) / 2);
    std::memcpy(command.text.data(), bytes + 4, 2 * command.text.size());
    current->commands.push_back(command);
    return current->_answer(command);
  }

  static inline FakeTray* current = nullptr;
  const Answer _answer;
};

TEST(StartModeTest, WhatEachModeTellsTheTrayAndWhetherTheRunGoesOn) {
  const struct {
    const wchar_t* cmd_line;
    bool granted;
    bool goes_on;
    Commands commands;
  } cases[] = {
      {L"/start_mode=\"configure\"", true, false, {{VELGUI_IPC_CONFIGURE, {}}}},
      {L"/start_mode=\"about\"", true, false, {{VELGUI_IPC_ABOUT, {}}}},
      {L"/start_mode=\"shutdown\"", true, false, {kSoft, kHard}},
      {L"/start_mode=\"shutdown\"", false, false, {kSoft}},
      {L"/start_mode=\"shutdown\"/shutdown_mode=\"force\"", 0, false, {kHard}},
      {L"/start_mode=\"shutdown\"/shutdown_mode=\"Force\"", 0, false, {kSoft}},
      {L"/start_mode=\"Shutdown\"", true, true, {}},
      // No service is reachable, so the process goes on by itself.
      {L"/start_mode=\"after_install\"", true, true, {}},
  };
  for (const auto& row : cases) {
    FakeTray tray(row.granted);
    EXPECT_EQ(process_start_mode(row.cmd_line), row.goes_on);
    EXPECT_EQ(tray.commands, row.commands);
  }
}

TEST(StartModeTest, RelaunchTextLosesEveryRequestForARelaunch) {
  const std::wstring request = L"/start_mode=\"after_install\"";
  EXPECT_EQ(without_after_install(L"x " + request + request + L" y"), L"x  y");
  // What comes to stand there by a removal isn't looked at again.
  EXPECT_EQ(
      without_after_install(L"/start_mode=\"after" + request + L"_install\""),
      request);
}

TEST(VELGUITest, ToolsRunBesideATrayAndTheRestIsHandedOverWhole) {
  const test::ScratchDirectory scratch;
  const test::ScopedVariable data(L"APPDATA", scratch.path());
  FakeTray tray(true);
  EXPECT_EQ(BrindlemarMain(L"/askpref=\"1\""), kExitDone);
  BrindlemarMain(L"/velinst=\"[none of the known]\"");
  EXPECT_TRUE(tray.commands.empty());
  for (const wchar_t* const cmd_line :
       {kUrl, L"", L"/mode=\"dummy\"", L"/askpref=\"\" /velinst=\"\""}) {
    EXPECT_EQ(BrindlemarMain(cmd_line), kExitDone);
    ASSERT_FALSE(tray.commands.empty());
    EXPECT_EQ(tray.commands.back(), (Command{VELGUI_IPC_RUNCMD, cmd_line}));
  }
}

TEST(VELGUITest, EndsWhenTheRunningCopyRefusesOrHasNoWindow) {
  const ScopedHandle running(CreateMutexW(nullptr, FALSE, L"VELGUI_RUNNING"));
  EXPECT_EQ(BrindlemarMain(kUrl), kExitRefused);
  FakeTray tray(false);
  EXPECT_EQ(BrindlemarMain(kUrl), kExitRefused);
  EXPECT_EQ(tray.commands.size(), 1u);
}

TEST(ShutdownOtherTest, OnlyATrayThatKeepsItsSessionsIsAFailure) {
  EXPECT_TRUE(softhard_shutdown_other()) << "nobody is there";
  const auto try_with = [](FakeTray::Answer answer, const Commands& expected) {
    FakeTray tray(answer);
    const bool done = softhard_shutdown_other();
    EXPECT_EQ(tray.commands, expected);
    return done;
  };
  EXPECT_FALSE(try_with([](auto&) { return false; }, {kSoftOther}));
  EXPECT_TRUE(
      try_with([](auto&) { return FakeTray::Vanish(), false; }, {kSoftOther}));
  // The window stays, and nobody waits for it.
  EXPECT_TRUE(try_with([](auto& command) { return command == kSoftOther; },
                       {kSoftOther, kHard}));
}

TEST(ShutdownOtherTest, WaitsUntilTheWindowHasGone) {
  FakeTray tray(true);
  std::atomic<bool> back = false;
  std::thread caller([&back] { back = softhard_shutdown_other(); });
  const UINT_PTR timer = SetTimer(nullptr, 0, 300, nullptr);
  for (MSG message = {};
       message.message != WM_TIMER || tray.commands.size() < 2;) {
    GetMessageW(&message, nullptr, 0, 0);
  }
  EXPECT_FALSE(back);
  KillTimer(nullptr, timer);
  FakeTray::Vanish();
  caller.join();
  EXPECT_TRUE(back);
}

}  // namespace
}  // namespace vel
