// The life of a session: start, orderly end, end from outside.
#include <gtest/gtest.h>
#include <windows.h>

#include <sddl.h>

#include <thread>

#include "companions/SessionFixture.h"
#include "support/ChildProcess.h"

namespace vel::test {
namespace {

constexpr DWORD kPatience = 60000;

std::wstring Variable(const wchar_t* name) {
  wchar_t value[256] = L"";
  GetEnvironmentVariableW(name, value, 256);
  return value;
}

// The enabled privileges of this process, but for the one to traverse folders.
int EnabledPrivileges() {
  HANDLE token = nullptr;
  OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
  alignas(TOKEN_PRIVILEGES) unsigned char buffer[4096];
  DWORD size = sizeof buffer;
  GetTokenInformation(token, TokenPrivileges, buffer, size, &size);
  CloseHandle(token);
  LUID traverse = {};
  LookupPrivilegeValueW(nullptr, L"SeChangeNotifyPrivilege", &traverse);
  const auto privileges = reinterpret_cast<const TOKEN_PRIVILEGES*>(buffer);
  int enabled = 0;
  for (DWORD index = 0; index < privileges->PrivilegeCount; ++index) {
    const auto& each = privileges->Privileges[index];
    enabled += (each.Attributes & SE_PRIVILEGE_ENABLED) != 0 &&
               each.Luid.LowPart != traverse.LowPart;
  }
  return enabled;
}

bool IsAdministrator() {
  alignas(SID) unsigned char sid[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof sid;
  BOOL member = FALSE;
  CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
  CheckTokenMembership(nullptr, sid, &member);
  return member != FALSE;
}

// The relative id of this process's integrity label.
DWORD Integrity() {
  HANDLE token = nullptr;
  OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
  alignas(TOKEN_MANDATORY_LABEL) unsigned char buffer[256];
  DWORD size = sizeof buffer;
  GetTokenInformation(token, TokenIntegrityLevel, buffer, size, &size);
  CloseHandle(token);
  const PSID sid =
      reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(buffer)->Label.Sid;
  return *GetSidSubAuthority(sid, 0);
}

// Where labels count, a process of low integrity writes only where the label
// of the directory lets it.
void LetLowIntegrityWrite(const std::wstring& directory) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(
      L"S:(ML;OICI;NW;;;LW)", SDDL_REVISION_1, &descriptor, nullptr);
  SetFileSecurityW(directory.c_str(), LABEL_SECURITY_INFORMATION, descriptor);
  LocalFree(descriptor);
}

LRESULT CALLBACK NoteClose(HWND window, UINT message, WPARAM wparam,
                           LPARAM lparam) {
  if (message == WM_CLOSE) PostQuitMessage(0);
  return message == WM_CLOSE ? 0
                             : DefWindowProcW(window, message, wparam, lparam);
}

HWND MakeVisibleWindow(WNDPROC procedure) {
  WNDCLASSW window_class = {};
  window_class.lpfnWndProc = procedure;
  window_class.lpszClassName = L"VelTestSessionWindow";
  RegisterClassW(&window_class);
  return CreateWindowExW(0, L"VelTestSessionWindow", L"",
                         WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 100, 100,
                         nullptr, nullptr, nullptr, nullptr);
}

}  // namespace

VEL_CHILD_MAIN(ReportsAndStays) {
  WriteReport(argument, {{L"config", Variable(L"VELCFG")},
                         {L"rights", Variable(L"VELRIGHTS")},
                         {L"privileges", std::to_wstring(EnabledPrivileges())},
                         {L"administrator", IsAdministrator() ? L"yes" : L"no"},
                         {L"integrity", std::to_wstring(Integrity())}});
  Sleep(INFINITE);
  return 0;
}

// Writes its report when it is asked to close, and goes.
VEL_CHILD_MAIN(ClosesWhenAsked) {
  MakeVisibleWindow(&NoteClose);
  WriteReport(argument, {});
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  WriteReport(argument + L" closed", {});
  return 0;
}

// Has a window that nobody answers for.
VEL_CHILD_MAIN(NeverCloses) {
  MakeVisibleWindow(&DefWindowProcW);
  WriteReport(argument, {});
  Sleep(INFINITE);
  return 0;
}

namespace {

class SessionTest : public SessionFixture {
 protected:
  // Ends the running session's anchor from outside.
  static void KillAnchor(UINT status) {
    const std::vector<DWORD> anchors = AnchorIds();
    ASSERT_EQ(anchors.size(), 1u);
    const HANDLE anchor = OpenProcess(PROCESS_TERMINATE, FALSE, anchors[0]);
    ASSERT_TRUE(TerminateProcess(anchor, status));
    CloseHandle(anchor);
  }

  static void ExpectEnded(HANDLE process) {
    ASSERT_TRUE(process);
    EXPECT_EQ(WaitForSingleObject(process, kPatience), WAIT_OBJECT_0);
    CloseHandle(process);
  }
};

TEST_F(SessionTest, AProgramGetsTheConfigurationAndDiesWithTheSession) {
  EXPECT_EQ(_session->get_state(), VEL_SESSION_STOPPED);
  Start(L"Privacy");
  const auto report = ReportOf(StartChild(L"ReportsAndStays"));
  EXPECT_EQ(report.at(L"config"), L"Privacy");
  const HANDLE program = ProcessOf(report);
  EXPECT_EQ(WaitForSingleObject(program, 0), DWORD{WAIT_TIMEOUT});
  Stop();
  ExpectEnded(program);
  EXPECT_EQ(_ends.calls(), 0);
}

TEST_F(SessionTest, TheEmptyConfigurationHasNoVariable) {
  SetEnvironmentVariableW(L"VELCFG", L"of the tray itself");
  Start(nullptr);
  const auto report = ReportOf(StartChild(L"ReportsAndStays"));
  SetEnvironmentVariableW(L"VELCFG", nullptr);
  EXPECT_EQ(report.at(L"config"), L"");
}

TEST_F(SessionTest, ProgramsRunWithReducedRights) {
  Start();
  const auto report = ReportOf(StartChild(L"ReportsAndStays"));
  EXPECT_EQ(report.at(L"rights"), L"reduced");
  EXPECT_EQ(report.at(L"administrator"), L"no");
  if (EnabledPrivileges() > 0 &&
      report.at(L"privileges") == std::to_wstring(EnabledPrivileges())) {
    GTEST_SKIP() << "this system ignores the flag that takes privileges away";
  }
  EXPECT_EQ(report.at(L"privileges"), L"0");
  EXPECT_LE(std::stoul(report.at(L"integrity")),
            DWORD{SECURITY_MANDATORY_MEDIUM_RID});
}

TEST_F(SessionTest, AConfigurationCanAskForLowIntegrity) {
  constexpr wchar_t kKey[] = L"Software\\Tessavane\\VEL\\VELULLowIntegrity";
  const DWORD on = 1;
  RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"VelTestLow", REG_DWORD, &on,
                  sizeof on);
  LetLowIntegrityWrite(_scratch.path());
  Start(L"VelTestLow");
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, L"VelTestLow");
  const auto report = ReportOf(StartChild(L"ReportsAndStays"));
  EXPECT_EQ(report.at(L"rights"), L"low");
  if (report.at(L"integrity") == std::to_wstring(Integrity())) {
    GTEST_SKIP() << "this system doesn't change a token's label";
  }
  EXPECT_EQ(report.at(L"integrity"),
            std::to_wstring(DWORD{SECURITY_MANDATORY_LOW_RID}));
}

class ReducedBuildTest : public SessionFixture {
 protected:
  ReducedBuildTest() : SessionFixture(L"VELUL_MIN\\VELUL.dll") {}
};

TEST_F(ReducedBuildTest, ProgramsKeepTheUsersRights) {
  Start(L"Minimal");
  const auto report = ReportOf(StartChild(L"ReportsAndStays"));
  EXPECT_EQ(report.at(L"config"), L"Minimal");
  EXPECT_EQ(report.at(L"rights"), L"user");
  Stop();
}

TEST_F(SessionTest, TheAnchorsHookEventIsSignalled) {
  Start();
  const std::vector<DWORD> anchors = AnchorIds();
  ASSERT_EQ(anchors.size(), 1u);
  wchar_t name[32];
  _snwprintf(name, 32, L"VELUL_%x", anchors[0]);
  const HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, name);
  ASSERT_TRUE(event) << GetLastError();
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  CloseHandle(event);
  Stop();
  EXPECT_FALSE(OpenEventW(SYNCHRONIZE, FALSE, name));
}

TEST_F(SessionTest, AProgramMayCloseItsWindowsBeforeTheEnd) {
  Start();
  const std::wstring path = StartChild(L"ClosesWhenAsked");
  ReportOf(path);
  Stop();
  EXPECT_TRUE(FileExists(path + L" closed"));
}

TEST_F(SessionTest, AProgramThatDoesNotCloseIsEnded) {
  Start();
  const HANDLE program = ProcessOf(ReportOf(StartChild(L"NeverCloses")));
  Stop();
  ExpectEnded(program);
}

TEST_F(SessionTest, AnEndFromOutsideIsToldAndTakesTheProgramsAlong) {
  const struct {
    UINT status;
    std::uint32_t state;
  } cases[] = {
      {0, VEL_SESSION_STOPPED},         {1, VEL_SESSION_STOPPED},
      {2, VEL_SESSION_BROKEN},          {0xC000013A, VEL_SESSION_BROKEN},
      {0x40010004, VEL_SESSION_BROKEN},
  };
  for (const auto& each : cases) {
    Start();
    const HANDLE program = ProcessOf(ReportOf(StartChild(L"ReportsAndStays")));
    KillAnchor(each.status);
    EXPECT_EQ(_ends.Next(), each.status);
    EXPECT_EQ(_session->get_state(), each.state);
    ExpectEnded(program);
    if (each.state == VEL_SESSION_BROKEN) {
      const VelSessionStart parameters = {L"Normal", 0};
      _session->start(&parameters);
      EXPECT_EQ(_session->get_state(), VEL_SESSION_BROKEN);
      _session->shutdown();
      EXPECT_EQ(_session->get_state(), VEL_SESSION_STOPPED);
    }
  }
}

TEST_F(SessionTest, StartWhileRunningKeepsTheSession) {
  Start();
  const std::vector<DWORD> before = AnchorIds();
  Start(L"Other");
  EXPECT_EQ(AnchorIds(), before);
}

TEST_F(SessionTest, StartDuringTheEndWaitsForIt) {
  Start();
  const std::vector<DWORD> before = AnchorIds();
  ReportOf(StartChild(L"NeverCloses"));
  _session->shutdown();
  Start();
  EXPECT_NE(AnchorIds(), before);
  EXPECT_EQ(AnchorIds().size(), 1u);
}

TEST_F(SessionTest, ReleaseEndsARunningSession) {
  const auto create =
      _library.Get<VelCreateSessionFn>(VEL_CREATE_SESSION_EXPORT);
  IVelSession* const other = create();
  const VelSessionStart parameters = {L"Normal", 0};
  other->start(&parameters);
  ASSERT_EQ(other->get_state(), VEL_SESSION_RUNNING);
  other->release();
  EXPECT_TRUE(AnchorIds().empty());
}

TEST_F(SessionTest, SessionsEndOnTheirOwn) {
  const auto create =
      _library.Get<VelCreateSessionFn>(VEL_CREATE_SESSION_EXPORT);
  IVelSession* const other = create();
  const VelSessionStart parameters = {L"Privacy", 0};
  other->start(&parameters);
  Start();
  EXPECT_EQ(AnchorIds().size(), 2u);
  other->release();
  EXPECT_EQ(_session->get_state(), VEL_SESSION_RUNNING);
}

TEST_F(SessionTest, CallsFromManyThreadsEndInOrder) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, thread] {
      const VelSessionStart parameters = {L"Normal", 0};
      for (int round = 0; round < 6; ++round) {
        if ((thread + round) % 2) {
          _session->shutdown();
        } else {
          _session->start(&parameters);
        }
        EXPECT_LE(_session->get_state(), std::uint32_t{VEL_SESSION_RUNNING});
        _session->start_app(L"", L"no such program.exe", L"", L"", L"");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  Start();
  Stop();
  EXPECT_TRUE(AnchorIds().empty());
}

TEST_F(SessionTest, FiftyRoundsLeaveNoHandles) {
  const auto create =
      _library.Get<VelCreateSessionFn>(VEL_CREATE_SESSION_EXPORT);
  const auto round = [create] {
    IVelSession* const session = create();
    const VelSessionStart parameters = {L"Normal", 0};
    session->start(&parameters);
    EXPECT_EQ(session->get_state(), VEL_SESSION_RUNNING);
    session->release();
  };
  // What the system sets up once in a process isn't counted.
  for (int warm_up = 0; warm_up < 3; ++warm_up) round();
  const std::size_t before = OpenHandles();
  for (int count = 0; count < 50; ++count) round();
  EXPECT_LE(OpenHandles(), before + 2);
}

}  // namespace
}  // namespace vel::test
