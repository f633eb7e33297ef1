// Sessions: an application is really started in one of the right
// configuration, and one that dies comes back.
#include "harness/Product.h"

#include <sddl.h>

#include "support/PipeClients.h"
#include "vel/PipeMessage.h"

namespace vel::test {
namespace {

constexpr wchar_t kApplication[] = L"e2e_application.exe";
constexpr wchar_t kClass[] = L"BrindlemarE2E.Url";

// The application to be opened, a copy of this program: it tells configuration
// and argument by the name of an event.
VEL_CHILD_MAIN(TellsItsStart) {
  wchar_t config[64] = {};
  GetEnvironmentVariableW(L"VELCFG", config, 64);
  const ScopedHandle started(OpenEventW(
      EVENT_MODIFY_STATE, FALSE,
      (L"vel_e2e_" + std::wstring(config) + L"|" + argument).c_str()));
  if (!SetEvent(started.get())) return 2;
  if (argument == L"stay") Sleep(INFINITE);
  return 0;
}

class SessionTest : public ProductTest {
 protected:
  void SetUp() override {
    // Outside the product's folder: a handler in it counts as the product.
    ASSERT_TRUE(
        CopyFileW(TestProgramPath().c_str(), application.c_str(), TRUE));
    ASSERT_TRUE(StartTray());
  }
  ~SessionTest() override {
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegDeleteTreeW(root, class_key.c_str());
    }
    RegDeleteTreeW(HKEY_CURRENT_USER, choice_key);
  }

  // A class of the registry whose command is this one with a URL.
  void RegisterClass(const std::wstring& program) {
    const std::wstring command = program + L" \"%1\"";
    // Not every system shows the user's classes among all classes.
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegSetKeyValueW(root, (class_key + L"\\shell\\open\\command").c_str(),
                      nullptr, REG_SZ, command.c_str(),
                      static_cast<DWORD>((command.size() + 1) * 2));
    }
  }

  // Makes the class the user's choice for ftp. False on a Windows that doesn't
  // let a program choose.
  static bool ChooseClass() {
    return RegSetKeyValueW(HKEY_CURRENT_USER, choice_key, L"ProgId", REG_SZ,
                           kClass, sizeof kClass) == ERROR_SUCCESS;
  }

  // By a second copy with this command line or one that names the application.
  void ExpectStart(const std::wstring& config, const std::wstring& argument,
                   std::wstring command_line = L"") {
    if (command_line.empty()) {
      command_line =
          L"/shex_cfg=\"" + config + L"\" /shex_file=\"" + application +
          L"\" /shex_par=\"--vel-child TellsItsStart \a2" + argument + L"\a2\"";
    }
    // Applications run at low integrity where Windows has that.
    SECURITY_ATTRIBUTES open = {sizeof open, nullptr, FALSE};
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
        L"D:(A;;GA;;;WD)S:(ML;;NW;;;LW)", SDDL_REVISION_1,
        &open.lpSecurityDescriptor, nullptr));
    const ScopedHandle started(CreateEventW(
        &open, FALSE, FALSE, (L"vel_e2e_" + config + L"|" + argument).c_str()));
    LocalFree(open.lpSecurityDescriptor);
    ASSERT_EQ(Run(command_line), 0u);
    ASSERT_EQ(WaitForSingleObject(started.get(), kPatienceMs), WAIT_OBJECT_0)
        << argument << " wasn't started in " << config;
  }

  // The processes that stand for sessions.
  std::vector<DWORD> Anchors() {
    return ProcessesNamed(L"rundll32.exe", tray().id());
  }
  const std::wstring application = data.File(kApplication);
  static constexpr wchar_t choice_key[] =
      L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\"
      L"ftp\\UserChoice";
  const std::wstring class_key = std::wstring(L"Software\\Classes\\") + kClass;
};

TEST_F(SessionTest, FilesAndUrlsOpenInTheirConfiguration) {
  ExpectStart(L"Normal", L"one two");
  ExpectStart(L"Privacy", L"three");
  EXPECT_EQ(Anchors().size(), 2u);
  RegisterClass(L"\"" + application + L"\" --vel-child TellsItsStart");
  ExpectStart(L"Normal", L"http://example.invalid/c",
              std::wstring(L"/shex_verb=\"open\" /shex_class=\"") + kClass +
                  L"\" /shex_file=\"http://example.invalid/c\"");
  if (!ChooseClass()) {
    GTEST_SKIP() << "this Windows doesn't let a program choose the handler";
  }
  ExpectStart(L"Normal", L"ftp://example.invalid/A",
              L"ftp://example.invalid/A");
  // A quote doesn't end the URL.
  ExpectStart(L"Normal", L"ftp://example.invalid/%22 --x",
              L"/shex_file=\"ftp://example.invalid/\a2 --x\"");
}

TEST_F(SessionTest, SessionViewOpensUrlsFromTheProductsFolder) {
  RegisterClass(L"\"" + product.File(L"SessionView.exe") + L"\"");
  if (!ChooseClass()) {
    GTEST_SKIP() << "this Windows doesn't let a program choose the handler";
  }
  EXPECT_EQ(Run(L"/shex_cfg=\"Of a test\" /shex_file=\"ftp://x.invalid/A\""),
            0u);
  HWND view = nullptr;
  ASSERT_TRUE(WaitUntil([&] {
    view = FindWindowW(L"VEL_SESSION_VIEW",
                       L"ftp://x.invalid/A - Of a test - SessionView");
    return IsWindowVisible(view) != FALSE;
  }));
  wchar_t text[16384] = {};
  SendMessageW(FindWindowExW(view, nullptr, L"EDIT", nullptr), WM_GETTEXT,
               ARRAYSIZE(text), reinterpret_cast<LPARAM>(text));
  const std::wstring first(text, wcscspn(text, L"\r"));
  EXPECT_TRUE(first.starts_with(L"Opened with "));
  EXPECT_TRUE(first.ends_with(L" ftp://x.invalid/A"));
  PostMessageW(view, WM_COMMAND, IDCANCEL, 0);
  EXPECT_TRUE(WaitUntil([&] { return !IsWindow(view); }));
}

// Neither the end of a session, its return nor the tray's end.
TEST_F(SessionTest, HostileClientsOfThePipeHoldUpNothing) {
  ExpectStart(L"Killed", L"stay");
  const auto killed = Anchors();
  ASSERT_EQ(killed.size(), 1u);
  DWORD session = 0;
  ASSERT_TRUE(ProcessIdToSessionId(tray().id(), &session));
  wchar_t pipe[64] = {};
  wsprintfW(pipe, VEL_GUI_PIPE_FORMAT, session);
  // Held to the end of the test.
  const auto hostile = HostileClients(pipe, 500, VELGUI_IPC_IS_SHUTTING_DOWN);
  const ULONGLONG start = GetTickCount64();
  EXPECT_TRUE(TerminateProcess(
      ScopedHandle(OpenProcess(PROCESS_TERMINATE, FALSE, killed[0])).get(), 5));
  EXPECT_EQ(PipeClient(pipe).Send(VELGUI_IPC_IS_SHUTTING_DOWN, 8).Reply(),
            VEL_GUI_PIPE_NOT_HANDLED);
  EXPECT_LE(GetTickCount64() - start, 10000u);
  EXPECT_TRUE(WaitUntil(
      [&] { return Anchors().size() == 1 && Anchors() != killed; }, 10000));
  // The programs of a session end with it.
  EXPECT_TRUE(ProcessesNamed(kApplication).empty());
  ExpectStart(L"Killed", L"again");
  const ULONGLONG end = GetTickCount64();
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_LE(GetTickCount64() - end, 10000u);
  EXPECT_TRUE(WaitUntil([&] { return Anchors().empty(); }));
}

}  // namespace
}  // namespace vel::test
