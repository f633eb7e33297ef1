// Sessions of the built library: start, orderly end, end from outside, and
// what start_app makes of a shell-execute.

#include <atomic>

#include "companions/CompanionLibrary.h"
#include "support/Processes.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Wait.h"
#include "vel/IVelSession.h"

namespace vel::test {
namespace {

constexpr DWORD kClosedByItself = 77;
using Statuses = std::vector<std::uint32_t>;

class EndRecorder final : public IVelSessionCallback {
 public:
  void reserved_1() override {}
  void MgrShutdown(std::uint32_t status) override {
    statuses.push_back(status);
    told = true;
  }
  void reserved_3() override {}
  void reserved_4() override {}
  bool reserved_5() override { return false; }
  std::uintptr_t reserved_6() override { return 0; }
  std::uintptr_t reserved_7() override { return 0; }

  Statuses statuses;
  std::atomic<bool> told = false;
};

bool IsAdministrator() {
  unsigned char sid[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof sid;
  BOOL member = FALSE;
  CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
  return CheckTokenMembership(nullptr, sid, &member) && member;
}

// The children of this process that stand for sessions.
std::vector<DWORD> AnchorIds() {
  return ProcessesNamed(L"rundll32.exe", GetCurrentProcessId());
}

// A program for a session. Its window tells what it runs with, and answers
// only when it was started so.
VEL_CHILD_MAIN(HasAWindow) {
  const auto variable = [](const wchar_t* name) {
    wchar_t value[64] = L"";
    GetEnvironmentVariableW(name, value, 64);
    return value + std::wstring(L"|");
  };
  const std::wstring title = variable(L"VELCFG") + variable(L"VELRIGHTS") +
                             (IsAdministrator() ? L"admin" : L"user") +
                             argument;
  CreateWindowW(L"STATIC", title.c_str(), WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0,
                0, 100, 100, nullptr, nullptr, nullptr, nullptr);
  if (argument.empty()) Sleep(INFINITE);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (message.message == WM_CLOSE) return kClosedByItself;
    DispatchMessageW(&message);
  }
  return 1;
}

class SessionTest : public testing::Test {
 protected:
  ~SessionTest() override { _session->release(); }

  void Start(const wchar_t* config = L"Normal") {
    const VelSessionStart parameters = {config, 0};
    _session->start(&parameters);
    ASSERT_EQ(_session->get_state(), VEL_SESSION_RUNNING);
  }

  std::uint32_t Run(const wchar_t* verb, const std::wstring& file,
                    const std::wstring& parameters = L"") {
    return _session->start_app(verb, file.c_str(), parameters.c_str(), L"",
                               L"");
  }
  // The process, in the session, of the window with this title.
  ScopedHandle RunProgram(const wchar_t* title, const wchar_t* answers = L"") {
    EXPECT_EQ(Run(L"open", TestProgramPath(),
                  std::wstring(L"--vel-child HasAWindow ") + answers),
              ERROR_SUCCESS);
    HWND window = nullptr;
    // It can be found before it is shown, and only then be asked to close.
    EXPECT_TRUE(WaitUntil([&] {
      window = FindWindowW(L"STATIC", title);
      return IsWindowVisible(window) != FALSE;
    })) << "no such window";
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    return ScopedHandle(OpenProcess(
        SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
  }
  static DWORD ExitCode(const ScopedHandle& process) {
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeProcess(process.get(), &code));
    return code;
  }

  CompanionLibrary _library{L"VELUL.dll"};
  IVelSession* const _session =
      _library.Get<VelCreateSessionFn>(VEL_CREATE_SESSION_EXPORT)();
};

TEST_F(SessionTest, AnOrderlyEndIsNotToldAndLetsProgramsClose) {
  EndRecorder ends;
  _session->add_callback(&ends);
  Start();
  const std::vector<DWORD> anchors = AnchorIds();
  const ScopedHandle stays = RunProgram(L"Normal|reduced|user");
  const ScopedHandle closes =
      RunProgram(L"Normal|reduced|user closes", L"\" closes\"");
  Start(L"Other");
  EXPECT_EQ(AnchorIds(), anchors);
  EXPECT_EQ(ExitCode(stays), STILL_ACTIVE);
  _session->shutdown();
  // A start waits for the end that is under way.
  Start();
  EXPECT_NE(AnchorIds(), anchors);
  EXPECT_EQ(ExitCode(closes), kClosedByItself);
  EXPECT_NE(ExitCode(stays), STILL_ACTIVE);
  EXPECT_TRUE(ends.statuses.empty());
  _session->remove_callback(&ends);
}

TEST_F(SessionTest, AnEndFromOutsideIsToldAndTakesTheProgramsAlong) {
  const ScopedVariable own(L"VELCFG", L"of the tray itself");
  const std::pair<UINT, std::uint32_t> cases[] = {
      {0, VEL_SESSION_STOPPED},
      {1, VEL_SESSION_STOPPED},
      {2, VEL_SESSION_BROKEN},
      {0xC000013A, VEL_SESSION_BROKEN}};
  for (const auto& [status, state] : cases) {
    EndRecorder ends;
    _session->add_callback(&ends);
    Start(nullptr);
    const ScopedHandle program = RunProgram(L"|reduced|user");
    const ScopedHandle anchor(
        OpenProcess(PROCESS_TERMINATE, FALSE, AnchorIds().at(0)));
    EXPECT_TRUE(TerminateProcess(anchor.get(), status));
    EXPECT_TRUE(WaitUntil([&ends] { return ends.told.load(); }));
    EXPECT_EQ(ends.statuses, Statuses{status});
    EXPECT_NE(ExitCode(program), STILL_ACTIVE);
    const VelSessionStart parameters = {L"Normal", 0};
    if (state == VEL_SESSION_BROKEN) _session->start(&parameters);
    EXPECT_EQ(_session->get_state(), state);
    _session->remove_callback(&ends);
    _session->shutdown();
    EXPECT_EQ(_session->get_state(), VEL_SESSION_STOPPED);
  }
}

TEST_F(SessionTest, WhatCannotBeStartedIsToldByItsError) {
  const ScratchDirectory scratch;
  const std::tuple<const wchar_t*, std::wstring, DWORD> cases[] = {
      {L"open", L"", ERROR_FILE_NOT_FOUND},
      {L"open", L"no such program", ERROR_FILE_NOT_FOUND},
      {L"open", scratch.Write(L"a.veltestnone", "x"), ERROR_NO_ASSOCIATION},
      {L"open", L"veltestnone://x", ERROR_NO_ASSOCIATION},
      {L"nosuchverb", TestProgramPath(), ERROR_NO_ASSOCIATION},
      {L"runas", TestProgramPath(), ERROR_NOT_SUPPORTED},
  };
  Start();
  for (const auto& [verb, file, error] : cases) {
    EXPECT_EQ(Run(verb, file), error);
  }
  _session->shutdown();
  EXPECT_TRUE(WaitUntil(
      [this] { return _session->get_state() == VEL_SESSION_STOPPED; }));
  EXPECT_EQ(Run(L"open", TestProgramPath()), ERROR_NOT_READY);
}

}  // namespace
}  // namespace vel::test
