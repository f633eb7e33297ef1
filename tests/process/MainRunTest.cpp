#include "process/MainRun.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <shlobj.h>

#include "foundation/Environment.h"
#include "foundation/Paths.h"
#include "process/ProcessState.h"
#include "process/ScratchProgram.h"
#include "process/VersionMarker.h"
#include "tray/EntryHooks.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScopedEnvironment;
using test::ScratchDirectory;

constexpr wchar_t kStore[] = L"DownloadedFiles.ptp";

class MainRunTest : public testing::Test {
 protected:
  ~MainRunTest() override {
    started = false;
    guest_mode = false;
    version_marker = nullptr;
  }

  const ScratchDirectory _scratch;
  const ScopedEnvironment _data{L"APPDATA", _scratch.path()};
  const ScopedEnvironment _program{L"VELDIR", L"C:\\nowhere"};
};

TEST_F(MainRunTest, TheEndUndoesTheStartOnce) {
  VersionMarker marker(L"1.2.3.4", app_data_directory() + L".version");
  version_marker = &marker;
  const std::wstring store =
      _scratch.Write(L"Tessavane\\VEL\\" + std::wstring(kStore), "x");
  vel_main_term();
  EXPECT_TRUE(FileExists(store)) << "nothing was started";
  EXPECT_TRUE(marker.changed());

  started = true;
  vel_main_term();
  EXPECT_FALSE(FileExists(store));
  EXPECT_EQ(_scratch.Read(L"Tessavane\\VEL\\.version"), "1.2.3.4");

  _scratch.Write(L"Tessavane\\VEL\\" + std::wstring(kStore), "x");
  vel_main_term();
  EXPECT_TRUE(FileExists(store)) << "Windows' end of the session came first";
}

TEST_F(MainRunTest, StartsOnce) {
  const std::wstring shared =
      special_folder(CSIDL_PERSONAL, true) + L"Brindlemar Shared Files";
  const bool was_there = FileExists(shared);
  const HMODULE loaded = GetModuleHandleW(L"wininet.dll");
  guest_mode = true;
  started = true;
  vel_main_init();
  EXPECT_EQ(GetModuleHandleW(L"wininet.dll"), loaded) << "started already";
  EXPECT_EQ(FileExists(shared), was_there);

  started = false;
  vel_main_init();
  EXPECT_TRUE(started);
  EXPECT_TRUE(GetModuleHandleW(L"wininet.dll"));
  EXPECT_TRUE(FileExists(shared));
  if (!was_there) RemoveDirectoryW(shared.c_str());
}

class HeldKeys {
 public:
  HeldKeys() { Send(0); }
  ~HeldKeys() { Send(KEYEVENTF_KEYUP); }
  static bool AreSeen() {
    return GetAsyncKeyState(VK_SHIFT) < 0 && GetAsyncKeyState(VK_CONTROL) < 0;
  }

 private:
  static void Send(DWORD flags) {
    keybd_event(VK_SHIFT, 0, flags, 0);
    keybd_event(VK_CONTROL, 0, flags, 0);
  }
};

TEST_F(MainRunTest, ShiftAndControlTurnTheFullLogOn) {
  const ScopedEnvironment no_level(L"VELLOG", L"");
  verbose_log_on_hotkey();
  EXPECT_EQ(get_env(L"VELLOG"), L"");

  const HeldKeys keys;
  if (!keys.AreSeen()) GTEST_SKIP() << "no keyboard on this desktop";
  verbose_log_on_hotkey();
  EXPECT_EQ(get_env(L"VELLOG"), L"0");

  SetEnvironmentVariableW(L"VELLOG", L"3");
  verbose_log_on_hotkey();
  EXPECT_EQ(get_env(L"VELLOG"), L"3") << "a level that is set wins";
}

}  // namespace
}  // namespace vel
