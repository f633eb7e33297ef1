// The end of the user's session in all its turns, and many callers at once.
#include "harness/ProductTest.h"

#include <cstdio>
#include <deque>

namespace vel::test {
namespace {

constexpr unsigned kCallers = 8;
constexpr unsigned kCallsOfEach = 25;

class EndSessionTest : public ProductTest {
 protected:
  LRESULT AskToEnd() {
    return SendMessageW(FindTray(), WM_QUERYENDSESSION, 0, 0);
  }
};

TEST_F(EndSessionTest, AskedRefusedCancelledAndAskedAgain) {
  ASSERT_TRUE(product.UseTestPlugin());
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product, L"/shex_file=\"x\"");
  ASSERT_TRUE(tray.up());
  ASSERT_TRUE(product.Veto(true));
  EXPECT_EQ(AskToEnd(), 0);
  ExpectPluginEvent(L"query 2 session refused");
  EXPECT_EQ(Count(product.SessionEvents(), L"shutdown Normal"), 0u);

  // A session that dies now waits for what becomes of the logoff.
  EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD,
                          L"/shex_verb=\"e2e_die\" /shex_par=\"0\""));
  ExpectSessionEvent(L"died Normal 0");
  Sleep(1500);
  EXPECT_EQ(Count(product.SessionEvents(), L"start Normal"), 1u);
  EXPECT_EQ(SendMessageW(FindTray(), WM_ENDSESSION, FALSE, 0), 0);
  ExpectSessionEvent(L"start Normal", 2);

  // Refused twice: the second question is put as the first was.
  EXPECT_EQ(AskToEnd(), 0);
  ExpectPluginEvent(L"query 2 session refused", 2);
  EXPECT_EQ(SendMessageW(FindTray(), WM_ENDSESSION, FALSE, 0), 0);

  ASSERT_TRUE(product.Veto(false));
  EXPECT_EQ(AskToEnd(), 1);
  EXPECT_EQ(tray.WaitForExit(), 0u);
  ExpectPluginEvent(L"query 2 session agreed");
  EXPECT_EQ(Count(product.SessionEvents(), L"release Normal"), 1u);
  ExpectPluginEvent(L"destroy");
}

TEST_F(EndSessionTest, TheEndItselfIsTakenWithoutAQuestion) {
  ASSERT_TRUE(product.UseTestPlugin());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(SendMessageW(FindTray(), WM_ENDSESSION, TRUE, 0), 0);
  EXPECT_TRUE(tray.Runs());
  EXPECT_EQ(tray.Shutdown(), 0u);
}

// Hands over its share of command lines as second copies would, and gives how
// many weren't answered. All callers begin together.
VEL_CHILD_MAIN(HandsOver) {
  const HANDLE go = OpenEventW(SYNCHRONIZE, FALSE, L"vel_e2e_go");
  const HANDLE ready =
      OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, L"vel_e2e_ready");
  if (!go || !ready || !ReleaseSemaphore(ready, 1, nullptr)) return 1000;
  if (WaitForSingleObject(go, kPatienceMs) != WAIT_OBJECT_0) return 1001;
  int lost = 0;
  for (unsigned i = 0; i < kCallsOfEach; ++i) {
    const std::wstring line = L"/shex_cfg=\"" + argument + L"\" /shex_file=\"" +
                              std::to_wstring(i) + L"\"";
    lost += !SendCommand(VELGUI_IPC_RUNCMD, line);
  }
  return lost;
}

class ManyCallersTest : public ProductTest {
 protected:
  // `callers` processes at once; how many hand-overs weren't answered.
  DWORD HandOver(unsigned callers) {
    const HANDLE go = CreateEventW(nullptr, TRUE, FALSE, L"vel_e2e_go");
    const HANDLE ready = CreateSemaphoreW(nullptr, 0, 1000, L"vel_e2e_ready");
    std::deque<ChildProcess> processes;
    for (unsigned i = 0; i < callers; ++i) {
      // Two share a configuration.
      processes.emplace_back(L"HandsOver", L"C" + std::to_wstring(i / 2));
    }
    for (unsigned i = 0; i < callers; ++i) {
      EXPECT_EQ(WaitForSingleObject(ready, kPatienceMs), WAIT_OBJECT_0);
    }
    SetEvent(go);
    DWORD lost = 0;
    for (ChildProcess& process : processes) {
      lost += process.Wait(60000).value_or(kCallsOfEach);
    }
    CloseHandle(ready);
    CloseHandle(go);
    return lost;
  }
};

TEST_F(ManyCallersTest, NoHandOverIsLost) {
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(HandOver(kCallers), 0u);
  const auto events = product.SessionEvents();
  EXPECT_EQ(CountBeginning(events, L"app "),
            std::size_t{kCallers * kCallsOfEach});
  for (unsigned i = 0; i < kCallers / 2; ++i) {
    const std::wstring config = L"C" + std::to_wstring(i);
    EXPECT_EQ(Count(events, L"start " + config), 1u);
    for (unsigned call = 0; call < kCallsOfEach; ++call) {
      EXPECT_EQ(Count(events, L"app " + config + L"||" + std::to_wstring(call) +
                                  L"|||"),
                2u);
    }
  }
  EXPECT_EQ(tray.Shutdown(), 0u);
}

// Pool threads and cached events come with the first waves, as many as were
// needed at once. What leaks grows with every wave.
TEST_F(ManyCallersTest, NothingIsLeftBehind) {
  ASSERT_TRUE(product.UseTestPlugin());
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  bool back = false;
  for (int wave = 0; wave < 6 && !back; ++wave) {
    const ProcessCounts before = CountsOf(tray.id());
    ASSERT_GT(before.handles, 0u);
    ASSERT_EQ(HandOver(kCallers), 0u);
    back = WaitUntil(
        [&] {
          const ProcessCounts after = CountsOf(tray.id());
          return after.handles <= before.handles &&
                 after.threads <= before.threads;
        },
        5000);
    const ProcessCounts after = CountsOf(tray.id());
    std::printf("  handles %zu -> %zu, threads %zu -> %zu\n", before.handles,
                after.handles, before.threads, after.threads);
  }
  EXPECT_TRUE(back);
  EXPECT_EQ(tray.Shutdown(), 0u);
}

// Eight whole second copies, while the tray is already busy.
TEST_F(ManyCallersTest, SecondCopiesAtOnce) {
  ASSERT_TRUE(product.UseTestSession());
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  std::deque<ChildProcess> copies;
  for (unsigned i = 0; i < kCallers; ++i) {
    copies.push_back(
        product.Start(L"/shex_file=\"" + std::to_wstring(i) + L"\""));
  }
  for (ChildProcess& copy : copies) EXPECT_EQ(copy.Wait(), 0u);
  for (unsigned i = 0; i < kCallers; ++i) {
    ExpectSessionEvent(L"app Normal||" + std::to_wstring(i) + L"|||");
  }
  EXPECT_EQ(tray.Shutdown(), 0u);
}

// However many first copies start together, one tray comes of it, and every
// other one ends: with 0 when it has handed over, with 1 when the tray's window
// wasn't there yet.
TEST_F(ManyCallersTest, FirstCopiesAtOnceGiveOneTray) {
  ASSERT_TRUE(product.UseTestPlugin());
  std::deque<ChildProcess> copies;
  for (unsigned i = 0; i < 4; ++i) copies.push_back(product.Start());
  ASSERT_TRUE(WaitUntil([] { return FindTray() != nullptr; }));
  DWORD tray = 0;
  GetWindowThreadProcessId(FindTray(), &tray);
  for (ChildProcess& copy : copies) {
    if (copy.id() == tray) continue;
    const auto code = copy.Wait();
    ASSERT_TRUE(code);
    EXPECT_LE(*code, 1u);
  }
  ExpectPluginEvent(L"broadcast VELGUI_INITIALIZED");
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  for (ChildProcess& copy : copies) {
    if (copy.id() == tray) {
      EXPECT_EQ(copy.Wait(), 0u);
    }
  }
  EXPECT_EQ(CountBeginning(product.PluginEvents(), L"load "), 1u);
}

}  // namespace
}  // namespace vel::test
