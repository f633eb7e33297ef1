#include "process/MainRun.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <shlobj.h>

#include "foundation/Environment.h"
#include "foundation/Paths.h"
#include "process/ProcessState.h"
#include "process/StartupTrim.h"
#include "process/VersionMarker.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "tray/EntryHooks.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScopedVariable;

TEST(MainRunTest, StartsOnceAndTheEndUndoesItOnce) {
  const test::ScratchDirectory scratch;
  const ScopedVariable data(L"APPDATA", scratch.path());
  const ScopedVariable program(L"VELDIR", L"C:\\nowhere");
  const std::wstring shared =
      special_folder(CSIDL_PERSONAL, true) + L"Brindlemar Shared Files";
  const bool was_there = FileExists(shared);
  guest_mode = true;
  vel_main_init();
  EXPECT_TRUE(GetModuleHandleW(L"wininet.dll"));
  EXPECT_TRUE(FileExists(shared));
  if (!was_there) {
    RemoveDirectoryW(shared.c_str());
    vel_main_init();
    EXPECT_FALSE(FileExists(shared)) << "started already";
  }

  VersionMarker marker(L"1.2.3.4", app_data_directory() + L".version");
  version_marker = &marker;
  const std::wstring store = L"Tessavane\\VEL\\DownloadedFiles.ptp";
  EXPECT_TRUE(FileExists(scratch.Write(store, "x")));
  vel_main_term();
  EXPECT_FALSE(FileExists(scratch.File(store)));
  EXPECT_EQ(scratch.Read(L"Tessavane\\VEL\\.version"), "1.2.3.4");
  scratch.Write(store, "x");
  vel_main_term();
  EXPECT_TRUE(FileExists(scratch.File(store))) << "ended already";
  version_marker = nullptr;
  guest_mode = false;
}

TEST(MainRunTest, ShiftAndControlTurnTheFullLogOn) {
  const auto press = [](DWORD flags) {
    keybd_event(VK_SHIFT, 0, flags, 0);
    keybd_event(VK_CONTROL, 0, flags, 0);
  };
  const auto level_after = [](const wchar_t* level) {
    const ScopedVariable log(L"VELLOG", level);
    verbose_log_on_hotkey();
    return get_env(L"VELLOG");
  };
  EXPECT_EQ(level_after(L""), L"");
  press(0);
  const bool pressed =
      GetAsyncKeyState(VK_SHIFT) < 0 && GetAsyncKeyState(VK_CONTROL) < 0;
  const std::wstring unset = level_after(L""), set = level_after(L"3");
  press(KEYEVENTF_KEYUP);
  if (!pressed) GTEST_SKIP() << "no keyboard on this desktop";
  EXPECT_EQ(unset, L"0");
  EXPECT_EQ(set, L"3") << "a level that is set wins";
}

TEST(StartupTrimTest, GoesOffOnceAndTakesNoOtherTimerForItsOwn) {
  StartupTrim trim(1);
  EXPECT_FALSE(trim.OnMessage(MSG{}));
  MSG message;
  ASSERT_GT(GetMessageW(&message, nullptr, WM_TIMER, WM_TIMER), 0);
  MSG other = message;
  other.wParam = 0;  // the id of a timer that could not be made
  EXPECT_FALSE(trim.OnMessage(other));
  EXPECT_TRUE(trim.OnMessage(message));
  EXPECT_FALSE(trim.OnMessage(message)) << "one that was still in the queue";
  EXPECT_FALSE(trim.OnMessage(other));
}

}  // namespace
}  // namespace vel
