// A run of the program: what it tells a tray that runs already, what it sets up
// and takes back, and the order of its install steps.
#include <gtest/gtest.h>
#include <windows.h>
#include <shlobj.h>

#include <functional>
#include <new>
#include <stdexcept>

#include "foundation/Paths.h"
#include "process/MainRun.h"
#include "process/ProcessState.h"
#include "process/ShutdownOther.h"
#include "process/StartMode.h"
#include "process/VELGUI.h"
#include "process/VelInstallMode.h"
#include "process/VersionMarker.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "sync/ScopedHandle.h"
#include "tray/EntryHooks.h"
#include "vel/GuiIpc.h"

namespace vel {
namespace {

using Command = std::pair<DWORD, std::wstring>;
using Commands = std::vector<Command>;

const Command kSoft = {VELGUI_IPC_SOFT_SHUTDOWN, L""};
const Command kSoftOther = {VELGUI_IPC_SOFT_SHUTDOWN, L"0"};
const Command kHard = {VELGUI_IPC_SHUTDOWN, L""};

// A window in the place of the tray's, which notes what arrives. It belongs to
// the test's thread: what that thread sends is answered at once.
struct FakeTray {
  using Answer = std::function<bool(const Command&)>;

  explicit FakeTray(Answer with) : answer(with) {
    WNDCLASSW description = {};
    description.lpfnWndProc = &Procedure;
    description.lpszClassName = VEL_TRAY_WINDOW_CLASS;
    RegisterClassW(&description);
    current = this;
    EXPECT_TRUE(CreateWindowW(VEL_TRAY_WINDOW_CLASS, L"", WS_OVERLAPPED, 0, 0,
                              0, 0, nullptr, nullptr, nullptr, nullptr));
  }
  ~FakeTray() { Vanish(); }

  static void Vanish() {
    DestroyWindow(FindWindowW(VEL_TRAY_WINDOW_CLASS, L""));
  }
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam) {
    if (message != WM_COPYDATA) {
      return DefWindowProcW(window, message, wparam, lparam);
    }
    const auto& data = *reinterpret_cast<const COPYDATASTRUCT*>(lparam);
    const auto* words = static_cast<const DWORD*>(data.lpData);
    const std::wstring text(reinterpret_cast<const wchar_t*>(words + 1),
                            (data.cbData - VEL_GUI_IPC_MIN_COPYDATA) / 2);
    current->commands.emplace_back(*words, text);
    return current->answer(current->commands.back());
  }

  static inline FakeTray* current = nullptr;
  Commands commands;
  const Answer answer;
};

TEST(StartModeTest, WhatEachModeTellsTheTrayAndWhetherTheRunGoesOn) {
  const struct {
    std::wstring mode;
    bool granted, goes_on;
    Commands commands;
  } cases[] = {{L"configure\"", true, false, {{VELGUI_IPC_CONFIGURE, {}}}},
               {L"shutdown\"", true, false, {kSoft, kHard}},
               {L"shutdown\"", false, false, {kSoft}},
               {L"shutdown\"/shutdown_mode=\"force\"", false, false, {kHard}},
               {L"shutdown\"/shutdown_mode=\"Force\"", false, false, {kSoft}},
               {L"Shutdown\"", true, true, {}},
               // No service is reachable, so the process goes on by itself.
               {L"after_install\"", true, true, {}}};
  for (const auto& row : cases) {
    FakeTray tray([&](auto&) { return row.granted; });
    EXPECT_EQ(process_start_mode(L"/start_mode=\"" + row.mode), row.goes_on);
    EXPECT_EQ(tray.commands, row.commands);
  }
}

// A run of the whole program, by a user of the test's own.
class MainRunTest : public testing::Test {
 protected:
  const test::ScratchDirectory _scratch;
  const test::ScopedVariable _app_data{L"APPDATA", _scratch.path()};
};

TEST_F(MainRunTest, ToolsRunBesideATrayAndARefusalEndsTheRest) {
  const ScopedHandle running(CreateMutexW(nullptr, FALSE, L"VELGUI_RUNNING"));
  EXPECT_EQ(BrindlemarMain(L"x"), kExitRefused) << "no window";
  FakeTray tray([](auto&) { return false; });
  EXPECT_EQ(BrindlemarMain(L"/askpref=\"1\""), kExitDone);
  BrindlemarMain(L"/velinst=\"[none of the known]\"");
  EXPECT_TRUE(tray.commands.empty());
  EXPECT_EQ(BrindlemarMain(L"/askpref=\"\" /velinst=\"\""), kExitRefused);
  EXPECT_EQ(tray.commands.size(), 1u);
}

TEST(ShutdownOtherTest, OnlyATrayThatKeepsItsSessionsIsAFailure) {
  const struct {
    FakeTray::Answer answer;
    bool done;
    Commands commands;
  } rows[] = {
      {[](auto&) { return false; }, false, {kSoftOther}},
      {[](auto&) { return FakeTray::Vanish(), false; }, true, {kSoftOther}},
      // The window stays, and nobody waits for it.
      {[](auto& c) { return c == kSoftOther; }, true, {kSoftOther, kHard}}};
  for (const auto& row : rows) {
    FakeTray tray(row.answer);
    EXPECT_EQ(softhard_shutdown_other(), row.done);
    EXPECT_EQ(tray.commands, row.commands);
  }
}

TEST_F(MainRunTest, StartsOnceAndTheEndUndoesItOnce) {
  const test::ScopedVariable program(L"VELDIR", L"C:\\nowhere");
  guest_mode = true;
  vel_main_init();
  EXPECT_TRUE(test::FileExists(special_folder(CSIDL_PERSONAL, true) +
                               L"Brindlemar Shared Files"));
  VersionMarker marker(L"1.2.3.4", app_data_directory() + L".version");
  version_marker = &marker;
  const std::wstring store = L"Tessavane\\VEL\\DownloadedFiles.ptp";
  _scratch.Write(store, "x");
  vel_main_term();
  EXPECT_FALSE(test::FileExists(_scratch.File(store)));
  EXPECT_EQ(_scratch.Read(L"Tessavane\\VEL\\.version"), "1.2.3.4");
  _scratch.Write(store, "x");
  vel_main_term();
  EXPECT_TRUE(test::FileExists(_scratch.File(store))) << "ended already";
  version_marker = nullptr;
  guest_mode = false;
}

TEST(VersionMarkerTest, AnotherVersionOrWhatIsNewerThanTheMarkerGoes) {
  const test::ScratchDirectory scratch;
  for (const char* const other : {"", "1.2.3", "1.2.3.4\n"}) {
    VersionMarker marker(L"1.2.3.4", scratch.Write(L".version", other));
    EXPECT_TRUE(marker.changed() && marker.should_delete({})) << other;
    EXPECT_FALSE(marker.should_remove_root());
  }
  const std::wstring path = scratch.Write(L".version", "1.2.3.4");
  WIN32_FIND_DATAW entry;
  FindClose(FindFirstFileW(path.c_str(), &entry));
  const FILETIME at = entry.ftLastWriteTime;
  VersionMarker marker(L"1.2.3.4", path);
  EXPECT_FALSE(marker.changed());
  // High words count before low ones.
  const FILETIME before = {at.dwLowDateTime + 1, at.dwHighDateTime - 1};
  const FILETIME after = {at.dwLowDateTime - 1, at.dwHighDateTime + 1};
  const auto goes = [&](FILETIME created, FILETIME written, DWORD attributes) {
    entry.ftCreationTime = created;
    entry.ftLastWriteTime = written;
    entry.dwFileAttributes = attributes;
    return marker.should_delete(entry);
  };
  EXPECT_FALSE(goes(at, at, 0));
  EXPECT_TRUE(goes(after, before, 0));
  EXPECT_TRUE(goes(before, after, 0));
  EXPECT_TRUE(goes(before, before, FILE_ATTRIBUTE_DIRECTORY));
  EXPECT_FALSE(VersionMarker(L"1.2.3.4", path + L"\\below a file").Commit());
}

std::wstring steps_taken;
bool tray_runs, steps_work, steps_throw;

template <wchar_t kLetter, class Result = bool>
Result step() {
  steps_taken += kLetter;
  if (steps_throw) throw std::bad_alloc();
  return static_cast<Result>(steps_work);
}

bool report(const wchar_t* reason) {
  steps_taken += std::wstring(L"<") + reason + L">";
  if (steps_throw) throw std::length_error("long");
  return false;
}
bool is_running() {
  return tray_runs;
}
void set_pending(bool pending) {
  steps_taken += pending ? L'P' : L'p';
}

constexpr VelInstallSteps kSteps = {
    is_running,       step<L'T'>,       report,           step<L'G'>,
    step<L'A'>,       step<L'O'>,       step<L'I', void>, step<L'U', void>,
    step<L'D', void>, step<L'B', void>, step<L'H', void>, step<L'F', void>,
    step<L'X', void>, set_pending};

TEST(VelInstallModeTest, TheFirstTokenDecidesAndStepsRunOnInTheirOrder) {
  const struct {
    const wchar_t* tokens;
    bool tray, work;
    int code;
    const wchar_t* steps;
    bool throws = false;
  } cases[] = {{L"[uninstall]", false, true, 0, L"<uninstall>AOUDBHF"},
               {L"[uninstall]", false, false, 1, L"<uninstall>AOUDBHF"},
               {L"[uninstall]", true, false, 2, L"T"},
               {L"[install][uninstall]", false, true, 0, L"<uninstall>AOUDBHF"},
               {L"[install]", false, false, 2, L"PGUIX<install>"},
               {L"[noreboot][install]", false, true, 0, L"PGUIX<install>"},
               {L"[noreboot]", false, true, 0, L"p"},
               {L"[uninstall]", false, true, 1, L"<uninstall>AOUDBHF", true},
               {L"[uninstall]", true, true, 2, L"T", true},
               {L"[install]", false, true, 2, L"PGUIX<install>", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.steps);
    steps_taken.clear();
    tray_runs = c.tray;
    steps_work = c.work;
    steps_throw = c.throws;
    const auto cmd_line = std::wstring(L"/velinst=\"") + c.tokens + L"\"";
    EXPECT_EQ(vel_install_mode_with(kSteps, cmd_line), c.code);
    EXPECT_EQ(steps_taken, c.steps);
  }
}

}  // namespace
}  // namespace vel
