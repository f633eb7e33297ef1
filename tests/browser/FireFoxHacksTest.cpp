#include "browser/FireFoxHacks.h"

#include <functional>
#include <thread>

#include "browser/RegisterFirefox.h"
#include "foundation/Product.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"

namespace vel {
namespace {

const HKEY kUser = HKEY_CURRENT_USER;
const HKEY kMachine = HKEY_LOCAL_MACHINE;
const std::wstring kStamp = L"FireFoxExtUpdTS64";
const std::wstring kProfile = L"Mozilla\\Firefox\\P\\";

int pauses = 0;
DWORD speed = 1;  // how many times as fast the clock runs

void ShortPause(DWORD milliseconds) {
  ++pauses;
  Sleep(milliseconds / speed);
}

// Runs `work` on a thread that is on the private desktop itself: to Wine the
// windows of any other desktop are invisible.
void OnThePrivateDesktop(const std::function<void()>& work) {
  std::thread([&work] {
    const HDESK desktop = CreateDesktopW(L"VelGuiFireFoxDesktop", nullptr,
                                         nullptr, 0, GENERIC_ALL, nullptr);
    EXPECT_TRUE(SetThreadDesktop(desktop));
    work();
    CloseDesktop(desktop);
  }).join();
}

// A user with a profile, and a stand-in for his Firefox.
class FireFoxHacksTest : public testing::Test {
 protected:
  FireFoxHacksTest() {
    CreateDirectoryW(_directory.c_str(), nullptr);
    EXPECT_TRUE(CopyFileW(
        (test::TestProgramPath() + L"\\..\\stand_in_firefox.exe").c_str(),
        (_directory + L"\\firefox.exe").c_str(), TRUE));
    _scratch.Write(L"Mozilla\\Firefox\\profiles.ini",
                   "[Profile0]\nName=p\nIsRelative=1\nPath=P\n");
    for (const wchar_t* name : {L"compreg.dat", L"xpti.dat", L"prefs.js"}) {
      _scratch.Write(kProfile + name, "x");
    }
  }
  ~FireFoxHacksTest() override { SetErrorMode(_error_mode); }

  // The request's stamp is the machine's, the user's that of the last one done.
  static std::uint64_t Stamp(HKEY root) {
    return RegGetQword(root, kProductKey, kStamp, nullptr);
  }
  static void Stamp(HKEY root, std::uint64_t stamp) {
    RegSetQword(root, kProductKey, kStamp, stamp);
  }
  bool HasCaches() const {
    return test::FileExists(_scratch.File(kProfile + L"compreg.dat")) &&
           test::FileExists(_scratch.File(kProfile + L"xpti.dat"));
  }
  std::string Seen() const { return _scratch.Read(L"seen"); }

  const UINT _error_mode = SetErrorMode(0);
  test::ScopedRegistry _registry;
  const test::ScratchDirectory _scratch;
  const std::wstring _directory = _scratch.File(L"Fire Fox");
  const test::ScopedVariable _app_data{L"APPDATA", _scratch.path()};
  // Nothing is found unless a test puts it there.
  const test::ScopedVariable _programs{L"PROGRAMFILES", _scratch.path()};
  const test::ScopedVariable _mode{L"VELTEST_FIREFOX", L"window"};
  const test::ScopedVariable _seen{L"VELTEST_SEEN", _scratch.File(L"seen")};
};

TEST_F(FireFoxHacksTest, RunsFirefoxUnseenUntilItIsGone) {
  const struct {
    const wchar_t* mode;
    DWORD speed;
    std::string seen;
    bool has_window, killed;
  } rows[] = {{L"window", 10, "close end ", true, false},
              {L"stubborn", 10, "close destroy ", true, true},
              {L"hidden", 500, "", false, true},
              {L"ends", 500, "", false, false}};
  for (const auto& row : rows) {
    _mode.Set(row.mode);
    const test::LogCapture log;
    pauses = 0;
    speed = row.speed;
    DeleteFileW(_scratch.File(L"seen").c_str());
    OnThePrivateDesktop([this] {
      EXPECT_TRUE(RegisterFirefoxWith(&ShortPause, _directory));
      EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_NORMAL);
    });
    EXPECT_EQ(Seen(), "VelGuiFireFoxDesktop " + row.seen) << row.mode;
    EXPECT_EQ(pauses < 300, row.has_window) << row.mode;
    EXPECT_EQ(log.Contains(2, L"WaitCloseUI: timed out"), !row.has_window);
    // The system may have a window of its own on the desktop.
    if (row.killed) {
      EXPECT_TRUE(log.Contains(2, L"KillPidWithTimeout:will kill: pid=0x"));
    }
  }
  EXPECT_EQ(SetErrorMode(0) & 0x8003u, 0x8003u);
}

TEST_F(FireFoxHacksTest, TellsWhatKeepsItFromRunning) {
  const test::LogCapture log;
  EXPECT_FALSE(RegisterFirefox(_scratch.File(L"none")));
  EXPECT_TRUE(log.Contains(3, L"RegisterFirefox:CreateProcess('\""));
  WNDCLASSW type = {};
  type.lpfnWndProc = &DefWindowProcW;
  type.lpszClassName = L"MozillaUIWindowClass";
  RegisterClassW(&type);
  const HWND window = CreateWindowW(type.lpszClassName, L"", 0, 0, 0, 9, 9,
                                    nullptr, nullptr, nullptr, nullptr);
  const std::wstring key = L"Software\\Mozilla\\Mozilla Firefox";
  RegSetString(kMachine, key, L"CurrentVersion", L"3.6", 0);
  RegSetString(kMachine, key + L"\\3.6\\Main", L"Install Directory", _directory,
               0);
  Stamp(kMachine, 5);
  CheckForUpdateExtensions();
  DestroyWindow(window);
  UnregisterClassW(type.lpszClassName, nullptr);
  EXPECT_TRUE(log.Contains(2, L"RegisterFirefox: act_ff_wnd=0x"));
  // The caches are gone all the same, and the request stays open.
  EXPECT_FALSE(HasCaches());
  EXPECT_EQ(Stamp(kUser), 0u);
  EXPECT_EQ(Seen(), "");
}

TEST_F(FireFoxHacksTest, CarriesOutEachRequestOnce) {
  const test::LogCapture log;
  CheckForUpdateExtensions();
  RegSetDword(kMachine, kProductKey, L"FireFoxExtUpdTS", 7, 0);
  Stamp(kUser, 7);
  CheckForUpdateExtensions();
  EXPECT_FALSE(log.Contains(2, L"CheckForUpdateExtensions"));
  // Any other stamp is another request, also an older one.
  Stamp(kMachine, 8);
  Stamp(kUser, 9);
  CheckForUpdateExtensions();
  EXPECT_TRUE(log.Contains(
      2, L"CheckForUpdateExtensions: cannot locate firefox executable"));
  EXPECT_TRUE(HasCaches());

  MoveFileW(_directory.c_str(), _scratch.File(L"Mozilla Firefox").c_str());
  OnThePrivateDesktop(&CheckForUpdateExtensions);
  EXPECT_FALSE(HasCaches());
  EXPECT_TRUE(test::FileExists(_scratch.File(kProfile + L"prefs.js")));
  EXPECT_EQ(Stamp(kUser), 8u);
  EXPECT_TRUE(log.Contains(1, L"MarkUpdateApplied: need_ts=0x8"));
  const std::string seen = Seen();
  EXPECT_NE(seen.find("close"), std::string::npos);
  CheckForUpdateExtensions();
  EXPECT_EQ(Seen(), seen);

  NeedUpdateExtensions();
  EXPECT_TRUE(log.Contains(1, L"NeedUpdateExtensions: need_ts=0x"));
  EXPECT_GT(Stamp(kMachine), 1600000000u);
}

}  // namespace
}  // namespace vel
