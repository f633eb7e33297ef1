#include "sessions/VelSessionHolder.h"

#include "Rig.h"
#include "foundation/Registry.h"
#include "sessions/SessionEnding.h"
#include "sessions/UserLibrary.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

using test::EventList;
constexpr DWORD kPatienceForRestart = 5000;
constexpr std::uint32_t kControlCExit = 0xC000013A;

class VelSessionHolderTest : public testing::Test {
 protected:
  std::unique_ptr<VelSessionHolder> running() {
    auto holder = std::make_unique<VelSessionHolder>(&_host, L"Normal");
    holder->make_active();
    _rig.events.take();
    return holder;
  }

  test::SessionRig _rig;
  test::Probe _host{_rig.events, L"host"};
};

TEST_F(VelSessionHolderTest, GoesThroughTheLifeOfASession) {
  auto holder = std::make_unique<VelSessionHolder>(&_host, L"Normal");
  EXPECT_EQ(7u, holder->start_app(L"open", L"f", L"p", L"", L"c"));
  EXPECT_TRUE(holder->is_active());
  holder->make_active();
  EXPECT_EQ((EventList{L"create", L"host: startup Normal", L"start Normal",
                       L"start_app open|f|p||c"}),
            _rig.events.take());
  _host.agrees = false;
  EXPECT_FALSE(holder->close_session(1));
  EXPECT_TRUE(holder->is_active());
  EXPECT_EQ(EventList{L"host: query 1"}, _rig.events.take());
  _host.agrees = true;
  EXPECT_TRUE(holder->close_session(2));
  EXPECT_FALSE(holder->is_active());
  EXPECT_EQ(
      (EventList{L"host: query 2", L"shutdown", L"host: shutdown", L"release"}),
      _rig.events.take());
  holder = running();
  holder.reset();
  EXPECT_EQ((EventList{L"shutdown", L"host: shutdown", L"release"}),
            _rig.events.take());
  EXPECT_EQ(nullptr, GetModuleHandleW(L"VELUL.dll"));
}

// The delays run side by side. In their first second the user's session ends,
// a second notice comes, and an application brings the last one back early.
TEST_F(VelSessionHolderTest, BringsADeadSessionBackAfterItsDelay) {
  const std::pair<std::uint32_t, DWORD> deaths[] = {
      {0, 1000},          {1, 1000},          {2, 3000}, {kControlCExit, 6000},
      {0xC00002EB, 6000}, {0x40010004, 6000}, {5, 0}};
  std::vector<std::unique_ptr<VelSessionHolder>> holders;
  while (holders.size() < std::size(deaths)) holders.push_back(running());
  const DWORD start = GetTickCount();
  session_ending = true;
  auto session = _rig.sessions.begin();
  for (const auto& [status, delay] : deaths) session++->die(status);
  Sleep(500);
  for (auto& dead : _rig.sessions) dead.die(kControlCExit);
  holders.back()->start_app(L"", L"f", L"", L"", L"");
  Sleep(500);
  session_ending = false;
  session = _rig.sessions.begin();
  for (const auto& [status, delay] : deaths) {
    EXPECT_TRUE(test::WaitUntil([&] { return session->starts == 2; }));
    // The tick count differs from the sum of the sleeps.
    const DWORD taken = session++->started_at - start + 200;
    EXPECT_TRUE(taken >= delay && taken < delay + 4000) << status;
  }
  EXPECT_EQ(2, _rig.sessions.back().starts);
}

TEST_F(VelSessionHolderTest, ACloseOrTheHoldersEndCallsTheRestartOff) {
  auto closed = running();
  auto ended = running();
  for (auto& session : _rig.sessions) session.die(kControlCExit);
  EXPECT_TRUE(closed->close_session(0));
  const DWORD start = GetTickCount();
  ended.reset();
  closed.reset();
  EXPECT_LT(GetTickCount() - start, 5000u);
  for (auto& session : _rig.sessions) EXPECT_EQ(1, session.starts);
}

// The restart is due while the plug-ins are being asked, and waits for the
// close.
TEST_F(VelSessionHolderTest, ASessionThatIsClosedDuringItsRestartStaysClosed) {
  const auto holder = running();
  session_ending = true;
  _rig.sessions.back().die(0);
  Sleep(500);
  _host.on_event = [](const std::wstring& event) {
    if (event != L"query") return;
    session_ending = false;
    Sleep(500);
  };
  EXPECT_TRUE(holder->close_session(0));
  Sleep(500);
  EXPECT_FALSE(holder->is_active());
  EXPECT_EQ(1u, _rig.sessions.size());
}

TEST_F(VelSessionHolderTest, ADeathAtTheEndOfARestartLeadsToTheNextOne) {
  const auto holder = running();
  test::FakeSession& session = _rig.sessions.back();
  session.on_start = [&] {
    if (session.starts == 2) session.die(0);
  };
  session.die(0);
  EXPECT_TRUE(
      test::WaitUntil([&] { return session.starts == 3; }, kPatienceForRestart))
      << session.starts;
  EXPECT_TRUE(holder->is_active());
}

VEL_CHILD_MAIN(HasNoSessionLibrary) {
  const test::ScratchDirectory empty;
  set_env(L"VELDIR", empty.path(), true);
  const test::LogCapture log(1, argument);
  VelSessionHolder(nullptr, L"Normal").make_active();
  return 0;
}

TEST(VelSessionHolder, WithoutItsLibraryTheLogsLastRecordNamesThePath) {
  // A log has to come before its reader in a process.
  const test::LogCapture first;
  const test::ScratchDirectory directory;
  const std::wstring path = directory.File(L"log");
  test::ChildProcess child(L"HasNoSessionLibrary", path);
  EXPECT_EQ(child.Wait(), DWORD{STATUS_BREAKPOINT});
  const auto lines = test::ReadLog(path);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(5u, lines.back().level);
  EXPECT_NE(std::wstring::npos,
            lines.back().text.find(L"\\VELUL.dll', error "));
}

TEST(UserLibrary, TheUsersTableOfMinimalModesWinsOverTheMachines) {
  constexpr wchar_t kKey[] = L"Software\\Tessavane\\VEL\\VELULMinModes";
  constexpr wchar_t kMode[] = L"VelTestMode";
  EXPECT_FALSE(is_min_mode(kMode));
  RegSetDword(HKEY_LOCAL_MACHINE, kKey, kMode, 1, kRegViewDefault);
  EXPECT_TRUE(is_min_mode(kMode));
  RegSetDword(HKEY_CURRENT_USER, kKey, kMode, 0, kRegViewDefault);
  EXPECT_FALSE(is_min_mode(kMode));
  RegSetString(HKEY_CURRENT_USER, kKey, kMode, L"0", kRegViewDefault);
  EXPECT_TRUE(is_min_mode(kMode));
  RegRemoveValue(HKEY_CURRENT_USER, kKey, kMode, kRegViewDefault);
  RegRemoveValue(HKEY_LOCAL_MACHINE, kKey, kMode, kRegViewDefault);
}

}  // namespace
}  // namespace vel
