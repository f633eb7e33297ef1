// The end of the tray with a plug-in that is in the middle of something, and
// what else wants the tray to end.
#include "channels/VelPipeClient.h"
#include "harness/Product.h"
#include "support/LogCapture.h"
#include "support/LogDirectory.h"
#include "tray/TrayMessages.h"

namespace vel::test {
namespace {

class LifeTest : public ProductTest {
 protected:
  // The test library twice, once with this parameter.
  void UsePlugins(const std::string& part) {
    UseTestLibrary(part + "\r\ntest.dll");
  }
  // As the shell tells the window of the mouse on the icon.
  static void DoubleClick() {
    for (int click = 0; click < 2; ++click) {
      PostMessageW(FindTray(), kTrayCallbackMessage, 0, WM_LBUTTONUP);
    }
  }
  static std::wstring Pipe() {
    DWORD session = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    return L"\\\\.\\pipe\\VELGUIAPI_" + std::to_wstring(session);
  }
};

TEST_F(LifeTest, AMenuItemThatEndsTheTrayIsNotUnloadedUnderItsThread) {
  UsePlugins("ends");
  ASSERT_TRUE(StartTray());
  DoubleClick();
  EXPECT_EQ(WaitForTray(), 0u);
  EXPECT_EQ(Seen("left the menu event"), 1u) << Log();
  EXPECT_EQ(Seen("destroy"), 2u) << Log();
}

TEST_F(LifeTest, APluginThatNeverComesBackIsGivenUp) {
  const LogDirectory logs(L"1");
  UsePlugins("hangs");
  ASSERT_TRUE(StartTray());
  DoubleClick();
  Expect("menu event 5 id 71");
  EXPECT_NE(VelPipeCommand(Pipe(), VELGUI_IPC_SHUTDOWN, L"", false), 0u);
  EXPECT_EQ(WaitForTray(), 0u);
  EXPECT_EQ(Seen("destroy"), 1u) << "the other one, " << Log();
  EXPECT_FALSE(data.Read(L"Tessavane\\VEL\\.version").empty());
  const auto lines = ReadLog(logs.Path(L"VELGUI.swl"));
  EXPECT_TRUE(
      LogCapture::Contains(lines, 3, L"test.dll' is still in an event"));
}

// A message that the system can't hand to the window ends the thread's loop.
// Wine's window thread gets an error for one that is only just too much for its
// stack; often it is ended at once, and no code of the tray runs.
TEST_F(LifeTest, AWindowThreadThatEndsTakesTheTrayWithIt) {
  const LogDirectory logs(L"1");
  UseTestLibrary();
  ASSERT_TRUE(StartTray());
  std::wstring text(1041000, L'x');
  while (text.size() < 1048000 && SendCommand(VELGUI_IPC_CONFIGURE, text)) {
    text.append(16, L'x');
  }
  const auto has_error = [&] {
    return LogCapture::Contains(ReadLog(logs.Path(L"VELGUI.swl")), 3,
                                L"tray_window_thread GetMessage error");
  };
  if (IsWindow(FindTray())) GTEST_SKIP() << "every message is handed over";
  if (!WaitUntil(has_error, 3000)) {
    tray().Kill();
    static_cast<void>(WaitForTray());
    GTEST_SKIP() << "the system has ended the window's thread itself";
  }
  EXPECT_EQ(WaitForTray(), 0u);
  EXPECT_EQ(Seen("destroy"), 1u) << Log();
}

}  // namespace
}  // namespace vel::test
