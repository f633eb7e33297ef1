// The service in a process of its own, run by hand as a developer runs it: the
// tray's announcement, its watch, and what the service does for its clients.
#include "channels/VelPipeClient.h"
#include "foundation/Text.h"
#include "harness/Product.h"
#include "support/LogCapture.h"
#include "support/LogDirectory.h"

namespace vel::test {
namespace {

constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\VelSvc";
constexpr UINT kKilled = 0x77;

class ServiceTest : public ProductTest {
 protected:
  void SetUp() override { UseTestLibrary(); }

  [[nodiscard]] bool StartService() {
    const std::wstring program = product.File(L"VelSvc.exe");
    _service.emplace(ChildProcess::Start(L"\"" + program + L"\" /console"));
    return WaitUntil([] { return WaitNamedPipeW(kPipe, 1) != FALSE; });
  }
  void KillService() {
    _service->Kill(kKilled);
    ASSERT_TRUE(_service->Wait());
  }
  DWORD service_id() const { return _service->id(); }

 private:
  std::optional<ChildProcess> _service;
};

TEST_F(ServiceTest, TheTrayAnnouncesItselfToEachNewService) {
  const LogDirectory logs(L"1");
  ASSERT_TRUE(StartService());
  ASSERT_TRUE(StartTray());
  Expect("service 1");
  std::vector<std::wstring> ends;
  ULONG handles = 0;
  for (unsigned round = 1; round <= 20; ++round) {
    ends.push_back(FormatWide(L"svc PID=0x%x exited with code 0x%x",
                              service_id(), kKilled));
    KillService();
    ASSERT_TRUE(StartService());
    Expect("service 0", round);
    // The first rounds bring threads and events that stay.
    if (round == 3) handles = CountsOf(tray().id()).handles;
  }
  EXPECT_TRUE(WaitUntil(
      [&] { return CountsOf(tray().id()).handles <= handles; }, 5000));
  EXPECT_EQ(Seen("service 1"), 1u);
  EXPECT_EQ(Shutdown(), 0u);
  const auto lines = ReadLog(logs.Path(L"VELGUI.swl"));
  for (const std::wstring& end : ends) {
    EXPECT_TRUE(LogCapture::Contains(lines, 3, end)) << end;
  }
}

TEST_F(ServiceTest, AnswersOnlyWhatAClientMayAsk) {
  ASSERT_TRUE(StartService());
  const auto ask = [](std::uint32_t command, const std::wstring& text) {
    return VelPipeCommand(kPipe, command, text, false);
  };
  const auto announcement = [](DWORD id) {
    return L"/VelGuiPid=\"" + std::to_wstring(id) + L"\"";
  };
  EXPECT_EQ(ask(2, announcement(service_id())), 0u) << "for somebody else";
  EXPECT_EQ(ask(2, L""), 0u);
  EXPECT_EQ(ask(99, L"x"), 0u);
  // A client that says nothing and one that goes at once hold up nobody.
  const HANDLE silent = CreateFileW(kPipe, GENERIC_READ | GENERIC_WRITE, 0,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
  CloseHandle(
      CreateFileW(kPipe, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  const HANDLE handle =
      ULongToHandle(ask(2, announcement(GetCurrentProcessId())));
  EXPECT_EQ(GetProcessId(handle), service_id());
  CloseHandle(handle);
  CloseHandle(silent);

  // The relaunch after an installation goes through the service.
  EXPECT_EQ(Run(L"/start_mode=\"after_install\" /shex_file=\"x\""), 0u);
  ASSERT_TRUE(WaitUntil([] { return FindTray() != nullptr; }));
  Expect("app Normal||x|||");
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  EXPECT_TRUE(WaitUntil([] { return FindTray() == nullptr; }));
}

}  // namespace
}  // namespace vel::test
