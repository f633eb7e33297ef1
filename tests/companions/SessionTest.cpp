// The life of a session: start, orderly end, end from outside; and the exports
// beside VelCreateSession.
#include <gtest/gtest.h>
#include <windows.h>

#include <functional>

#include "companions/SessionFixture.h"
#include "support/Threads.h"
#include "companions/HandleCount.h"

namespace vel::test {
namespace {

using Statuses = std::vector<std::uint32_t>;

// Notes each MgrShutdown.
class EndRecorder final : public IVelSessionCallback {
 public:
  void reserved_1() override {}
  void MgrShutdown(std::uint32_t status) override {
    if (on_end) on_end();
    statuses.push_back(status);
    told = true;
  }
  void reserved_3() override {}
  void reserved_4() override {}
  bool reserved_5() override { return false; }
  std::uintptr_t reserved_6() override { return 0; }
  std::uintptr_t reserved_7() override { return 0; }

  Statuses statuses;
  std::function<void()> on_end;
  std::atomic<bool> told = false;
};

std::wstring Variable(const wchar_t* name) {
  wchar_t value[256] = L"";
  GetEnvironmentVariableW(name, value, 256);
  return value;
}

bool IsAdministrator() {
  alignas(SID) unsigned char sid[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof sid;
  BOOL member = FALSE;
  CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
  return CheckTokenMembership(nullptr, sid, &member) && member;
}

void MakeVisibleWindow() {
  CreateWindowW(L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 100,
                100, nullptr, nullptr, nullptr, nullptr);
}

bool HookEventIsSignalled(DWORD process) {
  wchar_t name[32];
  _snwprintf(name, 32, L"VELUL_%x", process);
  const HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, name);
  const bool signalled = event && WaitForSingleObject(event, 0) == 0;
  if (event) CloseHandle(event);
  return signalled;
}

// 0, or the last error of a refusal.
DWORD InitResult(const CompanionLibrary& library, const std::wstring& mode) {
  const auto init = library.Get<InitMinModeFn>(VEL_INIT_MIN_MODE_EXPORT);
  return init(mode.c_str()) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

// Has a window that never answers.
VEL_CHILD_MAIN(Stays) {
  MakeVisibleWindow();
  WriteReport(argument, {Variable(L"VELCFG"), Variable(L"VELRIGHTS"),
                         IsAdministrator() ? L"administrator" : L"user"});
  Sleep(INFINITE);
  return 0;
}

VEL_CHILD_MAIN(ClosesWhenAsked) {
  MakeVisibleWindow();
  WriteReport(argument, {});
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (message.message == WM_CLOSE) break;
    DispatchMessageW(&message);
  }
  WriteReport(argument + L" closed", {});
  return 0;
}

// A process takes a minimal mode for good.
VEL_CHILD_MAIN(TakesAMinimalMode) {
  const CompanionLibrary full(L"VELUL.dll");
  EXPECT_EQ(InitResult(full, L"Minimal"), ERROR_CALL_NOT_IMPLEMENTED);
  const CompanionLibrary reduced(L"VELUL_MIN\\VELUL.dll");
  const auto hooks =
      reduced.Get<VelQueryInitHooksParamFn>(VEL_QUERY_INIT_HOOKS_PARAM_EXPORT);
  EXPECT_EQ(InitResult(reduced, L""), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(*hooks(), 0u);
  EXPECT_FALSE(HookEventIsSignalled(GetCurrentProcessId()));
  EXPECT_EQ(InitResult(reduced, L"Minimal"), ERROR_SUCCESS);
  EXPECT_EQ(*hooks(), 1u);
  EXPECT_TRUE(HookEventIsSignalled(GetCurrentProcessId()));
  EXPECT_EQ(InitResult(reduced, L"MINIMAL"), ERROR_SUCCESS);
  EXPECT_EQ(InitResult(reduced, L"Other"), ERROR_ALREADY_EXISTS);
  return testing::Test::HasFailure();
}

namespace {

class ReducedBuildTest : public SessionFixture {
 protected:
  ReducedBuildTest() : SessionFixture(L"VELUL_MIN\\VELUL.dll") {}
};

TEST_F(ReducedBuildTest, ProgramsKeepTheUsersRightsAndAModeIsForGood) {
  Start(L"Minimal");
  EXPECT_EQ(RunChild(L"Stays").at(2), L"user");
  EXPECT_EQ(ChildProcess(L"TakesAMinimalMode").Wait(), 0u);
}

class SessionTest : public SessionFixture {
 protected:
  // Ends the session's anchor from outside, and waits until `ends` is told.
  static void KillAnchor(UINT status, const EndRecorder& ends) {
    const HANDLE anchor =
        OpenProcess(PROCESS_TERMINATE, FALSE, AnchorIds().at(0));
    EXPECT_TRUE(TerminateProcess(anchor, status));
    CloseHandle(anchor);
    EXPECT_TRUE(WaitUntil([&ends] { return ends.told.load(); }));
  }

  // Whether the child with this report has ended.
  static bool IsGone(const std::vector<std::wstring>& report) {
    const HANDLE process =
        OpenProcess(SYNCHRONIZE, FALSE, std::stoul(report.at(0)));
    const bool gone = !process || WaitForSingleObject(process, 0) == 0;
    if (process) CloseHandle(process);
    return gone;
  }
};

TEST_F(SessionTest, ProgramsGetTheConfigurationAndReducedRights) {
  SetEnvironmentVariableW(L"VELCFG", L"of the tray itself");
  for (const wchar_t* config : {L"Privacy", L""}) {
    Start(*config ? config : nullptr);
    const auto report = RunChild(L"Stays");
    EXPECT_EQ(report.at(1), config);
    EXPECT_EQ(report.at(2), L"reduced");
    EXPECT_EQ(report.at(3), L"user");
    Stop();
  }
  SetEnvironmentVariableW(L"VELCFG", nullptr);
}

TEST_F(SessionTest, AnOrderlyEndIsNotToldAndLetsProgramsClose) {
  EndRecorder ends;
  _session->add_callback(&ends);
  Start();
  const std::vector<DWORD> anchors = AnchorIds();
  EXPECT_TRUE(HookEventIsSignalled(anchors.at(0)));
  const auto stays = RunChild(L"Stays");
  EXPECT_FALSE(IsGone(stays));
  RunChild(L"ClosesWhenAsked");
  Start(L"Other");
  EXPECT_EQ(AnchorIds(), anchors);
  _session->shutdown();
  // A start waits for the end that is under way.
  Start();
  EXPECT_NE(AnchorIds(), anchors);
  EXPECT_FALSE(HookEventIsSignalled(anchors.at(0)));
  EXPECT_TRUE(FileExists(_report + L" closed"));
  EXPECT_TRUE(IsGone(stays));
  EXPECT_TRUE(ends.statuses.empty());
  _session->remove_callback(&ends);
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
    EndRecorder ends;
    _session->add_callback(&ends);
    Start();
    const auto program = RunChild(L"Stays");
    KillAnchor(each.status, ends);
    EXPECT_EQ(ends.statuses, Statuses{each.status});
    EXPECT_TRUE(IsGone(program));
    const VelSessionStart parameters = {L"Normal", 0};
    if (each.state == VEL_SESSION_BROKEN) _session->start(&parameters);
    EXPECT_EQ(_session->get_state(), each.state);
    _session->remove_callback(&ends);
    _session->shutdown();
    EXPECT_EQ(_session->get_state(), VEL_SESSION_STOPPED);
  }
}

TEST_F(SessionTest, ACallbackCanRemoveItselfAndNoRemovalOvertakesACall) {
  EndRecorder once;
  once.on_end = [&] { _session->remove_callback(&once); };
  EndRecorder slow;
  slow.on_end = [&slow] {
    slow.told = true;
    // Time for a removal that doesn't wait to get through.
    Sleep(50);
  };
  _session->add_callback(&once);
  Start();
  KillAnchor(0, once);
  _session->add_callback(&slow);
  Start();
  KillAnchor(1, slow);
  _session->remove_callback(&slow);
  EXPECT_EQ(slow.statuses, Statuses{1});
  EXPECT_EQ(once.statuses, Statuses{0});
}

TEST_F(SessionTest, CallsFromManyThreadsEndInOrder) {
  RunTogether(4, [this](int thread) {
    const VelSessionStart parameters = {L"Normal", 0};
    for (int round = 0; round < 6; ++round) {
      if ((thread + round) % 2) _session->shutdown();
      _session->start(&parameters);
      _session->start_app(L"", L"no such program.exe", L"", L"", L"");
    }
  });
  Start();
  Stop();
  EXPECT_TRUE(AnchorIds().empty());
}

TEST_F(SessionTest, FiftySessionsEndByThemselvesAndLeaveNoHandles) {
  Start();
  std::size_t before = 0;
  // What the system sets up once in a process isn't counted.
  for (int count = -3; count < 50; ++count) {
    if (count == 0) before = HandleCount();
    IVelSession* const other = Create();
    Start(other, L"Privacy");
    other->release();
  }
  EXPECT_LE(HandleCount(), before + 2);
  EXPECT_EQ(AnchorIds().size(), 1u);
  EXPECT_EQ(_session->get_state(), VEL_SESSION_RUNNING);
}

}  // namespace
}  // namespace vel::test
