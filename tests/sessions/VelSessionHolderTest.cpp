#include "sessions/VelSessionHolder.h"

#include <gtest/gtest.h>

#include <thread>

#include "SessionRig.h"
#include "foundation/Environment.h"
#include "sessions/SessionEnding.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

using test::comes_true;
using test::EventList;
using test::FakeSession;

constexpr std::uint32_t kControlCExit = 0xC000013A;
// A sleep and the tick count may differ by this over six seconds.
constexpr DWORD kClockSlackMs = 200;
constexpr DWORD kBreakpoint = 0x80000003;

class VelSessionHolderTest : public testing::Test {
 protected:
  void TearDown() override { session_ending = false; }
  EventList events() { return _rig.events.take(); }
  // A holder with a running session.
  std::unique_ptr<VelSessionHolder> running(const wchar_t* config = L"Normal") {
    auto holder = std::make_unique<VelSessionHolder>(&_rig, config);
    holder->make_active();
    events();
    return holder;
  }

  test::SessionRig _rig;
};

TEST_F(VelSessionHolderTest, GoesThroughTheLifeOfASession) {
  VelSessionHolder holder(&_rig, L"Normal");
  EXPECT_FALSE(holder.is_active());
  EXPECT_EQ(EventList{}, events());
  holder.start_app(L"open", L"f", L"p", L"", L"c");
  EXPECT_TRUE(holder.is_active());
  holder.make_active();
  EXPECT_EQ((EventList{L"create \\VELUL.dll", L"add_callback",
                       L"on_session_startup Normal", L"start Normal",
                       L"start_app open|f|p||c"}),
            events());
  EXPECT_TRUE(holder.close_session(2));
  EXPECT_FALSE(holder.is_active());
  EXPECT_EQ((EventList{L"query session 2", L"shutdown", L"on_session_shutdown",
                       L"remove_callback", L"release"}),
            events());
  holder.make_active();
  EXPECT_EQ(4u, events().size());
}

TEST_F(VelSessionHolderTest, TheEmptyConfigurationStartsWithoutAName) {
  VelSessionHolder holder(&_rig, L"");
  holder.make_active();
  EXPECT_EQ(L"start -", events().back());
}

TEST_F(VelSessionHolderTest, ABrokenManagerIsShutDownBeforeItsStart) {
  _rig.first_state = VEL_SESSION_BROKEN;
  test::LogCapture log;
  VelSessionHolder holder(nullptr, L"Normal");
  holder.make_active();
  EXPECT_EQ((EventList{L"create \\VELUL.dll", L"add_callback", L"shutdown",
                       L"start Normal"}),
            events());
  EXPECT_TRUE(
      log.Contains(4, L"VelSessionHolder::ensure_session_active Shutdown..."));
  EXPECT_TRUE(
      log.Contains(4, L"VelSessionHolder::ensure_session_active Startup..."));
}

TEST_F(VelSessionHolderTest, AnUnknownStateIsNeitherStartedNorActive) {
  _rig.first_state = 7;
  VelSessionHolder holder(&_rig, L"Normal");
  holder.make_active();
  EXPECT_FALSE(holder.is_active());
  EXPECT_EQ(0, _rig.session().starts);
}

TEST_F(VelSessionHolderTest, ARefusedCloseLeavesTheSession) {
  _rig.plugins_agree = false;
  VelSessionHolder idle(&_rig, L"Normal");
  EXPECT_FALSE(idle.close_session(0));
  EXPECT_EQ((EventList{L"query - 0"}), events());
  const auto holder = running();
  EXPECT_FALSE(holder->close_session(1));
  EXPECT_EQ((EventList{L"query session 1"}), events());
  EXPECT_TRUE(holder->is_active());
}

TEST_F(VelSessionHolderTest, WaitsForASlowStopAndIgnoresItsNotice) {
  const auto holder = running();
  FakeSession& session = _rig.session();
  session.stops_at_once = false;
  std::thread library([&] {
    Sleep(350);
    session.die(5);
  });
  EXPECT_TRUE(holder->close_session(0));
  library.join();
  EXPECT_EQ((EventList{L"query session 0", L"shutdown", L"on_session_shutdown",
                       L"remove_callback", L"release"}),
            events());
}

TEST_F(VelSessionHolderTest, TheDestructorStopsTheSessionAndFreesTheLibrary) {
  const std::wstring library = _rig.directory.File(L"VELUL.dll");
  auto holder = running();
  EXPECT_NE(nullptr, GetModuleHandleW(library.c_str()));
  holder.reset();
  EXPECT_EQ((EventList{L"shutdown", L"on_session_shutdown", L"remove_callback",
                       L"release"}),
            events());
  EXPECT_EQ(nullptr, GetModuleHandleW(library.c_str()));
}

// The delays run side by side: 0, 3 and 6 seconds, and a session that an
// application brings back before its 3 seconds are over.
TEST_F(VelSessionHolderTest, BringsADeadSessionBackAfterItsDelay) {
  struct Dying {
    std::uint32_t status;
    DWORD delay_ms;
    std::unique_ptr<VelSessionHolder> holder;
    FakeSession* session = nullptr;
    DWORD died_at = 0;
  } dying[] = {{0, 0, nullptr},
               {1, 0, nullptr},
               {2, 3000, nullptr},
               {kControlCExit, 6000, nullptr},
               {0xC00002EB, 6000, nullptr},
               {0x40010004, 6000, nullptr}};
  for (Dying& one : dying) {
    one.holder = running();
    one.session = &_rig.session();
  }
  const auto revived = running();
  FakeSession& revived_session = _rig.session();
  test::LogCapture log;
  for (Dying& one : dying) {
    one.died_at = GetTickCount();
    one.session->die(one.status);
  }
  revived_session.die(5);
  revived->start_app(L"", L"f", L"", L"", L"");
  EXPECT_EQ(2, revived_session.starts);
  for (Dying& one : dying) {
    EXPECT_TRUE(comes_true([&] { return one.session->starts == 2; }));
    EXPECT_GE(one.session->started_at - one.died_at + kClockSlackMs,
              one.delay_ms);
    EXPECT_TRUE(one.holder->is_active());
  }
  EXPECT_EQ(2, revived_session.starts);
  EXPECT_TRUE(log.Contains(4,
                           L"VelSessionHolder::MgrShutdown(0xc000013a) "
                           L"_in_stopping=0"));
  EXPECT_TRUE(log.Contains(4,
                           L"VelSessionHolder::async_mgr_restart(0x2) - "
                           L"need_session()"));
  // The managers are the same, so the plug-ins weren't told anew.
  for (const std::wstring& event : events()) {
    EXPECT_NE(L"on_session_startup Normal", event);
  }
}

TEST_F(VelSessionHolderTest, ASecondNoticeMakesNoSecondRestart) {
  const auto holder = running();
  FakeSession& session = _rig.session();
  // The state follows late: the task waits for it.
  session.callback.load()->MgrShutdown(1);
  Sleep(250);
  session.die(kControlCExit);
  EXPECT_TRUE(comes_true([&] { return session.starts == 2; }, 5000));
  Sleep(300);
  EXPECT_EQ(2, session.starts);
}

TEST_F(VelSessionHolderTest, NoSessionComesBackWhileTheUsersSessionEnds) {
  const auto holder = running();
  session_ending = true;
  _rig.session().die(0);
  Sleep(500);
  EXPECT_EQ(1, _rig.session().starts);
  session_ending = false;
  EXPECT_TRUE(comes_true([&] { return _rig.session().starts == 2; }));
}

TEST_F(VelSessionHolderTest, ACloseOrTheHoldersEndCallsTheRestartOff) {
  auto closed = running();
  auto ended = running();
  const auto sessions = {&_rig.sessions.front(), &_rig.sessions.back()};
  for (FakeSession* session : sessions) session->die(kControlCExit);
  EXPECT_TRUE(closed->close_session(0));
  const DWORD start = GetTickCount();
  ended.reset();
  closed.reset();
  EXPECT_LT(GetTickCount() - start, 5000u);
  for (FakeSession* session : sessions) EXPECT_EQ(1, session->starts);
}

VEL_CHILD_MAIN(StartsASession) {
  set_env(L"VELDIR", argument, true);
  VelSessionHolder holder(nullptr, L"Normal");
  holder.make_active();
  return 0;
}

TEST_F(VelSessionHolderTest, TrapsWithoutTheLibraryOrItsExport) {
  test::ScratchDirectory directory;
  const std::wstring library = directory.File(L"VELUL.dll");
  EXPECT_EQ(kBreakpoint,
            test::ChildProcess(L"StartsASession", directory.path()).Wait());
  test::copy_library(L"FakePlugin.dll", library);
  EXPECT_EQ(kBreakpoint,
            test::ChildProcess(L"StartsASession", directory.path()).Wait());
  // The file is free a moment after the process's end.
  EXPECT_TRUE(comes_true([&] { return DeleteFileW(library.c_str()); }));
}

}  // namespace
}  // namespace vel
