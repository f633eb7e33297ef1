// The program as the tray, from its start to its end.
#include <gtest/gtest.h>
#include <windows.h>

#include "ProductConfig.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "process/ScratchProgram.h"
#include "sync/ScopedHandle.h"
#include "tray/GuiIpc.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScopedUserValue;
using test::ScratchProgram;

constexpr wchar_t kShutDown[] = L"/start_mode=\"shutdown\"";
constexpr DWORD kTimeoutMs = 60000;

class TrayRunTest : public testing::Test {
 protected:
  TrayRunTest() { _installed_version.Remove(); }

  // Starts a tray and waits until it tells that it is up.
  test::ChildProcess StartTray(const std::wstring& arguments) const {
    const std::wstring name = L"VelTrayRun" + std::to_wstring(GetTickCount());
    const ScopedHandle up(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
    auto tray = _program.Start(arguments + L" /set_event=\"" + name + L"\"");
    EXPECT_EQ(WaitForSingleObject(up.get(), kTimeoutMs), WAIT_OBJECT_0);
    EXPECT_TRUE(is_tray_running());
    return tray;
  }

  static std::wstring InstalledVersion() {
    return RegGetString(HKEY_CURRENT_USER, kProductKey, L"InstalledVersion", 0);
  }

  ScopedUserValue _installed_version{L"InstalledVersion"};
  const ScratchProgram _program{ScratchProgram::kWithTexts};
};

TEST_F(TrayRunTest, TakesOverFromAnotherVersionAndEndsOnCommand) {
  const auto& scratch = _program.scratch();
  scratch.Write(L"data\\Tessavane\\VEL\\.version", "0.9");
  const std::wstring left =
      scratch.Write(L"data\\Tessavane\\VEL\\cache\\left", "x");
  const std::wstring older = scratch.Write(L"data\\TC\\left", "x");

  auto tray = StartTray(L"");
  EXPECT_FALSE(FileExists(left));
  EXPECT_FALSE(FileExists(older));
  EXPECT_EQ(InstalledVersion(), L"" VEL_VERSION_TEXT);
  EXPECT_EQ(_program.Run(L""), 0u) << "the second copy hands over";
  EXPECT_TRUE(is_tray_running());

  EXPECT_EQ(_program.Run(kShutDown), 0u);
  EXPECT_EQ(tray.Wait(), 0u);
  EXPECT_FALSE(is_tray_running());
  EXPECT_EQ(scratch.Read(L"data\\Tessavane\\VEL\\.version"), VEL_VERSION_TEXT);
}

TEST_F(TrayRunTest, AGuestLeavesTheUsersVersionAlone) {
  auto tray = StartTray(L"/guest");
  EXPECT_EQ(InstalledVersion(), L"");
  EXPECT_EQ(_program.Run(kShutDown), 0u);
  EXPECT_EQ(tray.Wait(), 0u);
}

TEST_F(TrayRunTest, AnEventThatIsNotThereChangesNothing) {
  auto tray = _program.Start(L"/set_event=\"no such event\"");
  for (int look = 0; look < 600 && !is_tray_running(); ++look) Sleep(100);
  EXPECT_EQ(_program.Run(kShutDown), 0u);
  EXPECT_EQ(tray.Wait(), 0u);
}

}  // namespace
}  // namespace vel
