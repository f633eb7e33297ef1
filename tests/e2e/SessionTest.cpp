// Sessions: an application is really started in one of the right
// configuration, one that dies comes back, and libraries that aren't as they
// should be.
#include "harness/Product.h"

#include <sddl.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>

namespace vel::test {
namespace fs = std::filesystem;
namespace {

constexpr wchar_t kRecorder[] = L"e2e_recorder.exe";
constexpr wchar_t kRecords[] = L"VEL_E2E_RECORDS";
constexpr wchar_t kClass[] = L"BrindlemarE2E.Url";
// The process that stands for a session.
constexpr wchar_t kAnchor[] = L"rundll32.exe";

// An application to be opened in a session, started from a copy of this
// program. It writes "<configuration>|<command line>" to a file that is
// complete from the moment when its name is there.
VEL_CHILD_MAIN(Records) {
  wchar_t config[64] = {};
  wchar_t directory[1024] = {};
  GetEnvironmentVariableW(L"VELCFG", config, 64);
  GetEnvironmentVariableW(kRecords, directory, 1024);
  const std::wstring path =
      std::wstring(directory) + L"\\" + std::to_wstring(GetCurrentProcessId());
  std::FILE* const file = _wfopen((path + L".part").c_str(), L"wb");
  if (!file) return 2;
  std::fprintf(file, "%ls|%ls", config, GetCommandLineW());
  std::fclose(file);
  if (!MoveFileW((path + L".part").c_str(), (path + L".txt").c_str())) return 2;
  if (argument == L"stay") Sleep(INFINITE);
  return 0;
}

// A directory that the programs of a session can write to: they run at low
// integrity where Windows has that.
bool CreateLowDirectory(const std::wstring& path) {
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, FALSE};
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(
          L"S:(ML;OICI;NW;;;LW)", SDDL_REVISION_1,
          &attributes.lpSecurityDescriptor, nullptr)) {
    return false;
  }
  const BOOL created = CreateDirectoryW(path.c_str(), &attributes);
  LocalFree(attributes.lpSecurityDescriptor);
  return created;
}

class SessionTest : public ProductTest {
 protected:
  void SetUp() override {
    ProductTest::SetUp();
    // Outside the product's folder: a handler in it counts as the product.
    ASSERT_TRUE(CopyFileW(TestProgramPath().c_str(), recorder.c_str(), TRUE));
    ASSERT_TRUE(CreateLowDirectory(records));
  }
  ~SessionTest() override {
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegDeleteTreeW(root, class_key.c_str());
    }
  }

  // A class of the registry whose command is the recorder with a URL.
  void RegisterClass() {
    const std::wstring command =
        L"\"" + recorder + L"\" --vel-child Records \"%1\"";
    // Not every system shows the user's classes among all classes.
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegSetKeyValueW(root, (class_key + L"\\shell\\open\\command").c_str(),
                      nullptr, REG_SZ, command.c_str(),
                      static_cast<DWORD>((command.size() + 1) * 2));
    }
  }

  DWORD Record(const std::wstring& config, const std::wstring& argument) {
    return Run(L"/shex_cfg=\"" + config + L"\" /shex_file=\"" + recorder +
               L"\" /shex_par=\"--vel-child Records " + argument + L"\"");
  }

  std::vector<std::string> Records() {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(records)) {
      if (entry.path().extension() != L".txt") continue;
      found.push_back(
          data.Read(L"records\\" + entry.path().filename().wstring()));
    }
    return found;
  }

  // Waits for a start in `config` with these arguments.
  void ExpectRecord(const std::string& config, const std::string& arguments) {
    EXPECT_TRUE(WaitUntil([&] {
      return std::ranges::any_of(Records(), [&](const std::string& record) {
        return record.starts_with(config + "|") &&
               record.ends_with(" --vel-child Records " + arguments);
      });
    })) << arguments
        << " wasn't started in " << config << " of "
        << testing::PrintToString(Records());
  }

  const std::wstring recorder = data.File(kRecorder);
  const std::wstring records = data.File(L"records");
  const std::wstring class_key = std::wstring(L"Software\\Classes\\") + kClass;
  ScopedVariable records_variable{kRecords, records};
};

TEST_F(SessionTest, ApplicationStartsInItsConfiguration) {
  RegisterClass();
  ASSERT_TRUE(StartTray(std::wstring(L"/shex_verb=\"open\" /shex_class=\"") +
                        kClass +
                        L"\" /shex_file=\"http://example.invalid/c\""));
  ExpectRecord("Normal", "\"http://example.invalid/c\"");
  EXPECT_EQ(Record(L"Normal", L"one two"), 0u);
  EXPECT_EQ(Record(L"Privacy", L"three"), 0u);
  ExpectRecord("Normal", "one two");
  ExpectRecord("Privacy", "three");
  EXPECT_EQ(ProcessesNamed(kAnchor, tray().id()).size(), 2u);
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_EQ(Records().size(), 3u);
}

TEST_F(SessionTest, UrlOpensWithTheUsersChoice) {
  RegisterClass();
  ScopedRegistryValue choice(
      L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\"
      L"ftp\\UserChoice",
      L"ProgId");
  if (!choice.Set(REG_SZ, kClass, sizeof kClass)) {
    GTEST_SKIP() << "this Windows doesn't let a program choose the handler";
  }
  ASSERT_TRUE(StartTray());
  EXPECT_EQ(Run(L"ftp://example.invalid/A"), 0u);
  ExpectRecord("Normal", "\"ftp://example.invalid/A\"");
}

TEST_F(SessionTest, SessionEndedFromOutsideComesBack) {
  ASSERT_TRUE(StartTray());
  EXPECT_EQ(Record(L"Killed", L"stay"), 0u);
  ExpectRecord("Killed", "stay");
  const auto anchors = ProcessesNamed(kAnchor, tray().id());
  ASSERT_EQ(anchors.size(), 1u);
  KillProcess(anchors[0], 5);
  // The programs of a session end with it.
  EXPECT_TRUE(WaitUntil([] { return ProcessesNamed(kRecorder).empty(); }));
  EXPECT_TRUE(WaitUntil([&] {
    const auto now = ProcessesNamed(kAnchor, tray().id());
    return now.size() == 1 && now != anchors;
  }));
  EXPECT_EQ(Record(L"Killed", L"again"), 0u);
  ExpectRecord("Killed", "again");
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_TRUE(
      WaitUntil([&] { return ProcessesNamed(kAnchor, tray().id()).empty(); }));
}

class SessionLibraryTest : public ProductTest {};

TEST_F(SessionLibraryTest, DeadSessionComesBackAfterTheDelayOfItsStatus) {
  const struct {
    std::string config;
    const wchar_t* status;
    // From the death to the new start, in ms. The tray looks every 100 ms.
    DWORD least;
  } deaths[] = {{"Zero", L"0", 0},
                {"One", L"1", 0},
                {"Fault", L"c0000005", 3000},
                {"Two", L"2", 3000},
                {"CtrlC", L"c000013a", 6000},
                {"SysDown", L"c00002eb", 6000},
                {"Debugger", L"40010004", 6000}};
  // Ticks of two clocks in one process may differ by a timer's step.
  constexpr DWORD kTickStep = 32;
  ASSERT_TRUE(UseTestLibrary());
  ASSERT_TRUE(StartTray());
  for (const auto& death : deaths) {
    const std::wstring config(death.config.begin(), death.config.end());
    EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD,
                            L"/shex_verb=\"e2e_die\" /shex_cfg=\"" + config +
                                L"\" /shex_par=\"" + death.status + L"\""));
  }
  for (const auto& death : deaths) {
    SCOPED_TRACE(death.config);
    Expect("start " + death.config, 2);
    const auto starts = Times("start " + death.config);
    const auto died = Times("died " + death.config);
    ASSERT_EQ(starts.size(), 2u);
    ASSERT_EQ(died.size(), 1u);
    EXPECT_GE(starts[1] - died[0] + kTickStep, death.least);
    // The longer delays aren't given to those of the shorter ones.
    EXPECT_LT(starts[1] - died[0], death.least + 2500);
    // The manager stays, so the plug-ins aren't told again.
    EXPECT_EQ(Seen("startup " + death.config), 1u);
  }
}

// The tray runs without a session library, and traps when a session needs it.
TEST_F(SessionLibraryTest, UnusableLibrariesTrapAtTheFirstSession) {
  constexpr DWORD kBreakpoint = 0x80000003;
  const struct {
    const char* what;
    std::function<bool()> prepare;
  } cases[] = {
      {"missing", [&] { return Remove(L"VELUL.dll"); }},
      {"no library", [&] { return Write(L"VELUL.dll", "not a library"); }},
      {"no export",
       [&] {
         return CopyFileW(File(L"VELRCS.dll").c_str(),
                          File(L"VELUL.dll").c_str(), FALSE);
       }},
      {"no session",
       [&] { return Install(L"VELUL.dll") && Write(L"no_session", ""); }},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    // The process before may still hold the file.
    ASSERT_TRUE(WaitUntil(test.prepare));
    ASSERT_TRUE(StartTray());
    EXPECT_TRUE(SendCommand(VELGUI_IPC_RUNCMD, L"no action"));
    EXPECT_FALSE(SendCommand(VELGUI_IPC_RUNCMD, L"http://example.invalid/"));
    EXPECT_EQ(WaitForTray(), kBreakpoint);
  }
}

TEST_F(SessionLibraryTest, MinimalModesAreServedByTheReducedBuild) {
  const DWORD on = 1;
  ScopedRegistryValue mode(L"Software\\Tessavane\\VEL\\VELULMinModes",
                           L"E2EMin");
  ASSERT_TRUE(mode.Set(REG_DWORD, &on, sizeof on));
  ASSERT_TRUE(UseTestLibrary());
  ASSERT_TRUE(Install(L"VELUL_MIN\\VELUL.dll"));
  // The menu is missing without the dialog library, and nothing else.
  ASSERT_TRUE(Remove(L"VELDLG.dll"));
  ASSERT_TRUE(StartTray());
  EXPECT_EQ(SendMessageW(FindTray(), kFromTheShell, 0, WM_RBUTTONUP), 1);
  EXPECT_EQ(Run(L"/shex_cfg=\"E2EMin\" /shex_file=\"m\""), 0u);
  Expect("app E2EMin||m|||");
  EXPECT_EQ(Seen("create VELUL_MIN"), 1u) << Log();
  EXPECT_EQ(Run(L"/shex_cfg=\"E2EMax\" /shex_file=\"f\""), 0u);
  Expect("app E2EMax||f|||");
  EXPECT_EQ(Seen("create VELUL_MIN"), 1u) << Log();
  EXPECT_EQ(SeenBeginning("create "), 2u) << Log();
}

}  // namespace
}  // namespace vel::test
