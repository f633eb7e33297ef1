// The staged product in a folder of the test's own, its processes, and GUI IPC
// as another program of the desktop speaks it.
#ifndef VEL_TESTS_E2E_HARNESS_PRODUCT_H_
#define VEL_TESTS_E2E_HARNESS_PRODUCT_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Processes.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Wait.h"
#include "vel/GuiIpc.h"

namespace vel::test {

inline constexpr wchar_t kProductKey[] = L"Software\\Tessavane\\VEL";

HWND FindTray();
DWORD TrayProcess();
// False without an answer in time, too.
bool SendCommand(std::uint32_t command, const std::wstring& text = L"");

struct Counts {
  ULONG handles;
  ULONG threads;
};
// As the system's list of processes has them.
Counts CountsOf(DWORD process_id);

// Waits for the end of a process.
DWORD ExitCodeOf(ChildProcess& process, DWORD timeout_ms = kPatienceMs);

HWND WaitForDialog(DWORD process_id);

// A copy of the stage with its own plug-ins, and per-user data in a directory
// of the test's own.
//
// Whatever waits here ends the test when it has waited in vain, as every fatal
// failure of a function that a test calls does in this program.
class ProductTest : public testing::Test {
 protected:
  ProductTest();
  ~ProductTest() override;
  // A tray whose end wasn't waited for has to end well on an order.
  void TearDown() override;

  // The test library as Plugins\test.dll, the only plug-in, and as VELUL.dll.
  void UseTestLibrary(const std::string& parameters = "") const;
  // While true the test plug-in refuses every shutdown.
  void Veto(bool on) const { product.Write(L"veto", on ? "1" : ""); }

  // How often the test library has recorded an event with exactly this text or,
  // with a '*' at the end, one that begins with it.
  std::size_t Seen(const std::string& text) const;
  std::string Log() const { return product.Read(L"events.log"); }
  void Expect(const std::string& text, std::size_t times = 1) const;

  ChildProcess Start(const std::wstring& arguments = L"") const;
  DWORD Run(const std::wstring& arguments = L"") const;
  // Starts the tray; false, and a failure, when it doesn't come up.
  [[nodiscard]] bool StartTray(const std::wstring& arguments = L"");
  ChildProcess& tray() { return *_tray; }
  // Both give the tray's exit code; the second orders the end before.
  DWORD WaitForTray();
  DWORD Shutdown();

  ScratchDirectory product;
  ScratchDirectory data;
  ScopedVariable app_data{L"APPDATA", data.path()};

 private:
  std::optional<ChildProcess> _tray;
  bool _tray_was_awaited = false;
};

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HARNESS_PRODUCT_H_
