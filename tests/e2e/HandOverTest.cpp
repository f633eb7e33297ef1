// A second copy of the program: what it hands over, what comes of it, and its
// exit code; then many of them at once.
#include "harness/Product.h"

#include <tlhelp32.h>

#include <deque>

#include "sync/ProcAddress.h"
#include "sync/ScopedHandle.h"

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
      {L"/shex_cfg=\"Idle\" /shex_class=\"x\"", nullptr},
      {L"/set_event=\"vel_e2e_no_such_event\"", nullptr},
      // No start mode: the letters' case counts.
      {L"/start_mode=\"Shutdown\"", nullptr},
      {L"http://example.invalid/A b", "Normal||http://example.invalid/A|||"},
      {L"ftp://first HTTPS://Second.invalid",
       "Normal||HTTPS://Second.invalid|||"},
      {L"/shex_cfg=\"Privacy\" /shex_verb=\"edit\" /shex_file=\"C:\\a.htm\" "
       L"/shex_par=\"p q\" /shex_dir=\"C:\\dir\" /shex_class=\"htmlfile\"",
       "Privacy|edit|C:\\a.htm|p q|C:\\dir|htmlfile"},
      // The file name repeated in the parameters goes.
      {L"/shex_file=\"C:\\b.htm\" /shex_par=\"\a2C:\\b.htm\a2\"",
       "Normal||C:\\b.htm|||"},
      {L"/shex_file=\"C:\\p.exe\" /shex_par=\"x.HTML\"",
       "Normal||C:\\p.exe|\"x.html\"||"},
      {L"/shex_cfg=\"privacy\" /shex_file=\"again\"", "Privacy||again|||"},
  };
  ASSERT_TRUE(UseTestLibrary("%VEL_E2E_A%+%VEL_E2E_B%"));
  // The first copy runs its own command line, with its environment set before.
  ASSERT_TRUE(
      StartTray(L"/env=\"VEL_E2E_A=one\" /env=\"VEL_E2E_B=%VEL_E2E_A%two\" "
                L"/shex_cfg=\"First\" /shex_file=\"own\""));
  Expect("load 'one+onetwo'");
  Expect("app First||own|||");
  for (const auto& test : cases) {
    EXPECT_EQ(Run(test.arguments), 0u);
    if (test.app) Expect(std::string("app ") + test.app);
  }
  // Three configurations in all, whatever the letters' case.
  EXPECT_EQ(SeenBeginning("start "), 3u) << Log();
  EXPECT_EQ(Shutdown(), 0u);
  // The sessions were closed before the end.
  EXPECT_EQ(SeenBeginning("release "), 3u) << Log();
}

class StartModeTest : public ProductTest {};

TEST_F(StartModeTest, ModesReachOnlyARunningTray) {
  const std::wstring force =
      L"/start_mode=\"shutdown\" /shutdown_mode=\"force\"";
  ASSERT_TRUE(UseTestLibrary());
  for (const std::wstring& arguments :
       {force, std::wstring(L"/start_mode=\"configure\""),
        std::wstring(L"/start_mode=\"about\""),
        std::wstring(L"/mode=\"DUMMY\"")}) {
    EXPECT_EQ(Run(arguments), 0u);
  }
  EXPECT_EQ(Log(), "");
  ASSERT_TRUE(StartTray(L"/shex_file=\"x\""));
  EXPECT_EQ(Run(L"/start_mode=\"configure\""), 0u);
  Expect("broadcast VELMENUS_CONFIGURE");
  EXPECT_EQ(Run(L"/start_mode=\"about\""), 0u);
  Expect("broadcast VELMENUS_ABOUT");
  // The forced shutdown skips only the first question.
  ASSERT_TRUE(Veto(true));
  EXPECT_EQ(Run(L"/start_mode=\"shutdown\""), 0u);
  Expect("query 0 session refused");
  EXPECT_EQ(Seen("query 1 session refused"), 0u);
  EXPECT_EQ(Run(force), 0u);
  Expect("query 1 session refused");
  EXPECT_TRUE(TrayRuns());
  ASSERT_TRUE(Veto(false));
  EXPECT_EQ(Run(force), 0u);
  EXPECT_EQ(WaitForTray(), 0u);
  Expect("destroy");
}

TEST_F(StartModeTest, AutomaticStartFollowsTheUsersSetting) {
  const DWORD off = 0;
  ScopedRegistryValue auto_start(kProductKey, L"AutoStart");
  ASSERT_TRUE(auto_start.Set(REG_DWORD, &off, sizeof off));
  EXPECT_EQ(Run(L"/start_mode=\"auto\""), 0u);
  EXPECT_EQ(FindTray(), nullptr);
  auto_start.Remove();
  EXPECT_TRUE(StartTray(L"/start_mode=\"auto\""));
}

class ExitCodeTest : public ProductTest {
 protected:
  // Closes the message box that the process shows, and gives its text.
  std::wstring CloseBox(const ChildProcess& process) {
    const HWND box = WaitForDialog(process.id());
    wchar_t text[1024] = {};
    // The text's control of a message box.
    GetDlgItemTextW(box, 0xFFFF, text, 1024);
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    return text;
  }
};

TEST_F(ExitCodeTest, MutexWithoutAWindowGivesOne) {
  const ScopedHandle running(CreateMutexW(nullptr, FALSE, L"VELGUI_RUNNING"));
  EXPECT_EQ(Run(L"http://example.invalid/"), 1u);
}

TEST_F(ExitCodeTest, PendingInstallationIsToldAndGivesOne) {
  const wchar_t pending[] =
      L"Software\\Tessavane\\VEL\\Volatile\\InstallPending";
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, pending, 0, nullptr,
                      REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                      nullptr) != ERROR_SUCCESS) {
    GTEST_SKIP() << "only an administrator may write the machine's key";
  }
  RegCloseKey(key);
  ChildProcess process = Start();
  EXPECT_NE(CloseBox(process), L"");
  EXPECT_EQ(process.Wait(), 1u);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, pending);
}

TEST_F(ExitCodeTest, WithoutLanguageResourcesTheBoxIsEmpty) {
  ASSERT_TRUE(Remove(L"VELRCS.dll"));
  ChildProcess process = Start();
  EXPECT_EQ(CloseBox(process), L"");
  EXPECT_EQ(process.Wait(), 0xFFFFFFFFu);
}

constexpr unsigned kCallers = 8;
constexpr unsigned kCallsOfEach = 25;

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
    lost += !SendCommand(VELGUI_IPC_RUNCMD, L"/shex_cfg=\"" + argument +
                                                L"\" /shex_file=\"" +
                                                std::to_wstring(i) + L"\"");
  }
  return lost;
}

using QuerySystemInformationFn = LONG WINAPI(ULONG kind, void* buffer,
                                             ULONG size, ULONG* needed);

// From the system's table of all handles: a count, a reserved word, and five
// words for each handle, the second of them its process.
std::size_t CountHandles(DWORD process_id) {
  constexpr ULONG kExtendedHandleInformation = 64;
  const auto query = proc_address<QuerySystemInformationFn*>(
      GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
  std::vector<ULONG_PTR> table(1 << 20);
  EXPECT_GE(query(kExtendedHandleInformation, table.data(),
                  static_cast<ULONG>(table.size() * sizeof table[0]), nullptr),
            0);
  std::size_t count = 0;
  for (ULONG_PTR i = 0; i < table[0]; ++i) {
    count += table[2 + 5 * i + 1] == process_id;
  }
  return count;
}

std::size_t CountThreads(DWORD process_id) {
  const ScopedFileHandle all(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  std::size_t count = 0;
  for (BOOL more = Thread32First(all.get(), &entry); more;
       more = Thread32Next(all.get(), &entry)) {
    count += entry.th32OwnerProcessID == process_id;
  }
  return count;
}

class ManyCallersTest : public ProductTest {
 protected:
  // All callers at once; how many hand-overs weren't answered.
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
      EXPECT_EQ(WaitForSingleObject(ready.get(), kPatienceMs), WAIT_OBJECT_0);
    }
    SetEvent(go.get());
    DWORD lost = 0;
    for (ChildProcess& process : processes) {
      lost += process.Wait(60000).value_or(kCallsOfEach);
    }
    return lost;
  }
};

TEST_F(ManyCallersTest, NoHandOverIsLostAndNothingIsLeftBehind) {
  ASSERT_TRUE(UseTestLibrary());
  ASSERT_TRUE(StartTray());
  EXPECT_EQ(HandOver(), 0u);
  EXPECT_EQ(SeenBeginning("app "), std::size_t{kCallers * kCallsOfEach});
  for (unsigned i = 0; i < kCallers / 2; ++i) {
    const std::string config = std::string("C") + std::to_string(i);
    EXPECT_EQ(Seen("start " + config), 1u);
    for (unsigned call = 0; call < kCallsOfEach; ++call) {
      EXPECT_EQ(Seen("app " + config + "||" + std::to_string(call) + "|||"),
                2u);
    }
  }
  // Pool threads and cached events come with the first waves, as many as were
  // needed at once. What leaks grows with every wave.
  bool back = false;
  for (int wave = 0; wave < 6 && !back; ++wave) {
    const std::size_t handles = CountHandles(tray().id());
    const std::size_t threads = CountThreads(tray().id());
    ASSERT_GT(handles, threads);
    ASSERT_GT(threads, 0u);
    ASSERT_EQ(HandOver(), 0u);
    back = WaitUntil(
        [&] {
          return CountHandles(tray().id()) <= handles &&
                 CountThreads(tray().id()) <= threads;
        },
        5000);
  }
  EXPECT_TRUE(back);
}

// However many first copies start together, one tray comes of it, and every
// other one ends: with 0 when it has handed over, with 1 when the tray's window
// wasn't there yet. Second copies lose nothing.
TEST_F(ManyCallersTest, CopiesAtOnceGiveOneTray) {
  ASSERT_TRUE(UseTestLibrary());
  std::deque<ChildProcess> copies;
  for (unsigned i = 0; i < 4; ++i) copies.push_back(Start());
  ASSERT_TRUE(WaitUntil(&FindTray));
  const DWORD tray_id = TrayProcess();
  for (ChildProcess& copy : copies) {
    if (copy.id() != tray_id) {
      EXPECT_LE(copy.Wait().value_or(kStillRunning), 1u);
    }
  }
  Expect("broadcast VELGUI_INITIALIZED");
  std::deque<ChildProcess> later;
  for (unsigned i = 0; i < kCallers; ++i) {
    later.push_back(Start(L"/shex_file=\"" + std::to_wstring(i) + L"\""));
  }
  for (ChildProcess& copy : later) EXPECT_EQ(copy.Wait(), 0u);
  for (unsigned i = 0; i < kCallers; ++i) {
    Expect("app Normal||" + std::to_string(i) + "|||");
  }
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  for (ChildProcess& copy : copies) {
    EXPECT_LE(copy.Wait().value_or(kStillRunning), copy.id() != tray_id);
  }
  EXPECT_EQ(SeenBeginning("load "), 1u);
}

}  // namespace
}  // namespace vel::test
