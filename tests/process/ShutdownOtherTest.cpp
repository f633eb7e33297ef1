#include "process/ShutdownOther.h"

#include <gtest/gtest.h>

#include "process/FakeTray.h"
#include "tray/GuiIpc.h"

namespace vel {
namespace {

using test::FakeTray;
using test::TrayCommand;

const TrayCommand kSoft = {VELGUI_IPC_SOFT_SHUTDOWN, L"0"};
const TrayCommand kHard = {VELGUI_IPC_SHUTDOWN, L""};

TEST(ShutdownOtherTest, NobodyThereIsSuccess) {
  EXPECT_TRUE(softhard_shutdown_other());
}

TEST(ShutdownOtherTest, ARefusalToCloseTheSessionsEndsIt) {
  FakeTray tray([](const TrayCommand&) { return false; });
  EXPECT_FALSE(softhard_shutdown_other());
  EXPECT_EQ(tray.commands(), std::vector{kSoft});
}

TEST(ShutdownOtherTest, ATrayThatVanishesInsteadOfAnsweringHasGone) {
  FakeTray tray([](const TrayCommand&) {
    DestroyWindow(FindWindowW(VEL_TRAY_WINDOW_CLASS, L""));
    return false;
  });
  EXPECT_TRUE(softhard_shutdown_other());
  EXPECT_EQ(tray.commands(), std::vector{kSoft});
}

TEST(ShutdownOtherTest, WaitsUntilTheWindowHasGone) {
  FakeTray* window = nullptr;
  FakeTray tray([&window](const TrayCommand& command) {
    if (command == kHard) window->VanishAfter(300);
    return true;
  });
  window = &tray;
  EXPECT_TRUE(softhard_shutdown_other());
  EXPECT_FALSE(is_tray_running());
  EXPECT_EQ(tray.commands(), (std::vector{kSoft, kHard}));
}

// Agreed to close the sessions, then refused the command to end: the caller
// goes on, without the wait.
TEST(ShutdownOtherTest, ARefusalToEndIsNoFailure) {
  FakeTray tray([](const TrayCommand& command) { return command == kSoft; });
  EXPECT_TRUE(softhard_shutdown_other());
  EXPECT_TRUE(is_tray_running());
  EXPECT_EQ(tray.commands(), (std::vector{kSoft, kHard}));
}

}  // namespace
}  // namespace vel
