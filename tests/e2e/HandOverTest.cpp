// A second copy of the program: what it hands over, what comes of it, and its
// exit code; then many of them at once.
#include "harness/Product.h"

#include <deque>

namespace vel::test {
namespace {

class HandOverTest : public ProductTest {};

TEST_F(HandOverTest, CopiesOpenWhatTheyAreGivenAndEndWithZero) {
  const struct {
    const wchar_t* arguments;
    // Configuration and the five texts of start_app; null for no start.
    const char* app;
  } cases[] = {
      {L"", nullptr},
      // No start mode: the letters' case counts.
      {L"/start_mode=\"Shutdown\"", nullptr},
      {L"http://example.invalid/A b", "Normal||http://example.invalid/A|||"},
      {L"/shex_cfg=\"Privacy\" /shex_verb=\"edit\" /shex_file=\"C:\\a.htm\" "
       L"/shex_par=\"p q\" /shex_dir=\"C:\\dir\" /shex_class=\"htmlfile\"",
       "Privacy|edit|C:\\a.htm|p q|C:\\dir|htmlfile"},
      {L"/shex_cfg=\"privacy\" /shex_file=\"again\"", "Privacy||again|||"},
      // The NUL of a value ends the text at the library's border.
      {L"/shex_file=\"cut\a3off\"", "Normal||cut|||"},
      {L"/bmmap=\"\" /shex_file=\"empty map\"", "Normal||empty map|||"},
  };
  UseTestLibrary("%VEL_E2E_A%+%VEL_E2E_B%");
  // The first copy runs its own command line, with its environment set before.
  ASSERT_TRUE(
      StartTray(L"/env=\"VEL_E2E_A=one\" /env=\"VEL_E2E_B=%VEL_E2E_A%two\" "
                L"/shex_cfg=\"First\" /shex_file=\"own\""));
  Expect("load 'one+onetwo'");
  Expect("app First||own|||");
  std::size_t started = 1;
  for (const auto& test : cases) {
    EXPECT_EQ(Run(test.arguments), 0u);
    if (!test.app) continue;
    ++started;
    Expect(std::string("app ") + test.app);
  }
  EXPECT_EQ(Seen("app *"), started) << Log();
  // Three configurations in all, whatever the letters' case.
  EXPECT_EQ(Seen("start *"), 3u) << Log();
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_EQ(Seen("release *"), 3u) << Log();
}

TEST_F(HandOverTest, APluginsRestartStartsTheProgramAnew) {
  UseTestLibrary();
  ASSERT_TRUE(StartTray());
  EXPECT_TRUE(SendCommand(VELGUI_IPC_OPEN_UNPROTECTED_BROWSER, L"5"));
  EXPECT_EQ(WaitForTray(), 0u);
  // The window is there before the main loop is.
  Expect("broadcast VELGUI_INITIALIZED", 2);
  ASSERT_NE(TrayProcess(), tray().id());
  const ScopedHandle process(OpenProcess(SYNCHRONIZE, FALSE, TrayProcess()));
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  EXPECT_EQ(WaitForSingleObject(process.get(), kPatienceMs), WAIT_OBJECT_0);
  EXPECT_EQ(Seen("destroy"), 2u);
}

constexpr unsigned kCallers = 8;
constexpr unsigned kCallsOfEach = 25;

// Hands over its share of command lines as second copies would, and gives how
// many weren't answered. All callers begin together.
VEL_CHILD_MAIN(HandsOver) {
  const HANDLE go = OpenEventW(SYNCHRONIZE, FALSE, L"vel_e2e_go");
  const HANDLE ready =
      OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, L"vel_e2e_ready");
  if (!ReleaseSemaphore(ready, 1, nullptr) ||
      WaitForSingleObject(go, kPatienceMs) != WAIT_OBJECT_0) {
    return 1000;
  }
  int lost = 0;
  for (unsigned i = 0; i < kCallsOfEach; ++i) {
    lost += !SendCommand(VELGUI_IPC_RUNCMD, L"/shex_cfg=\"" + argument +
                                                L"\" /shex_file=\"" +
                                                std::to_wstring(i) + L"\"");
  }
  return lost;
}

class ManyCallersTest : public ProductTest {
 protected:
  DWORD HandOver() {
    const ScopedHandle go(CreateEventW(nullptr, TRUE, FALSE, L"vel_e2e_go"));
    const ScopedHandle ready(
        CreateSemaphoreW(nullptr, 0, 1000, L"vel_e2e_ready"));
    std::deque<ChildProcess> processes;
    for (unsigned i = 0; i < kCallers; ++i) {
      // Two share a configuration.
      processes.emplace_back(L"HandsOver", L"C" + std::to_wstring(i / 2));
    }
    for (unsigned i = 0; i < kCallers; ++i) {
      [&] {
        ASSERT_EQ(WaitForSingleObject(ready.get(), kPatienceMs), WAIT_OBJECT_0);
      }();
    }
    SetEvent(go.get());
    DWORD lost = 0;
    for (ChildProcess& process : processes) {
      lost += ExitCodeOf(process, 60000);
    }
    return lost;
  }
};

TEST_F(ManyCallersTest, NoHandOverIsLostAndNothingIsLeftBehind) {
  UseTestLibrary();
  ASSERT_TRUE(StartTray());
  EXPECT_EQ(HandOver(), 0u);
  EXPECT_EQ(Seen("app *"), std::size_t{kCallers * kCallsOfEach});
  for (unsigned i = 0; i < kCallers / 2; ++i) {
    const std::string config = std::string("C") + std::to_string(i);
    EXPECT_EQ(Seen("start " + config), 1u);
    EXPECT_EQ(Seen("app " + config + "|*"), std::size_t{2 * kCallsOfEach});
  }
  // Pool threads and cached events come with the first waves, as many as were
  // needed at once. What leaks grows with every wave.
  bool back = false;
  for (int wave = 0; wave < 6 && !back; ++wave) {
    const Counts before = CountsOf(tray().id());
    ASSERT_GT(before.handles, 0u);
    ASSERT_EQ(HandOver(), 0u);
    back = WaitUntil(
        [&] {
          const Counts after = CountsOf(tray().id());
          return after.handles <= before.handles &&
                 after.threads <= before.threads;
        },
        5000);
  }
  EXPECT_TRUE(back);
}

// However many first copies start together, one tray comes of it, and every
// other one ends: with 0 when it has handed over, with 1 when the tray's window
// wasn't there yet.
TEST_F(ManyCallersTest, CopiesAtOnceGiveOneTray) {
  UseTestLibrary();
  std::deque<ChildProcess> copies;
  for (unsigned i = 0; i < 4; ++i) {
    copies.push_back(Start(L"/shex_file=\"" + std::to_wstring(i) + L"\""));
  }
  Expect("broadcast VELGUI_INITIALIZED");
  const DWORD tray_id = TrayProcess();
  for (unsigned i = 0; i < 4; ++i) {
    const bool is_tray = copies[i].id() == tray_id;
    const DWORD code = is_tray ? 0 : ExitCodeOf(copies[i]);
    EXPECT_LE(code, 1u);
    if (code == 0) Expect("app Normal||" + std::to_string(i) + "|||");
  }
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  for (ChildProcess& copy : copies) ExitCodeOf(copy);
  EXPECT_EQ(Seen("load *"), 1u);
  EXPECT_EQ(Seen("destroy"), 1u);
}

}  // namespace
}  // namespace vel::test
