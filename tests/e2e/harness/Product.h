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
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Wait.h"
#include "vel/GuiIpc.h"

namespace vel::test {

inline constexpr wchar_t kProductKey[] = L"Software\\Tessavane\\VEL";

// The tray's window, or null.
HWND FindTray();
DWORD TrayProcess();
// The answer of the tray, false when there is none in time.
bool SendCommand(std::uint32_t command, const std::wstring& text = L"");

// The running processes whose file is called `name`, of one parent or, for 0,
// of any.
std::vector<DWORD> ProcessesNamed(const std::wstring& name, DWORD parent = 0);
void KillProcess(DWORD process_id, UINT exit_code);

struct Counts {
  ULONG handles;
  ULONG threads;
};
// As the system's list of processes has them.
Counts CountsOf(DWORD process_id);

// Waits for the end of a process and gives its exit code.
DWORD ExitCodeOf(ChildProcess& process, DWORD timeout_ms = kPatienceMs);

// Waits for the dialog box of a process.
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

  // Puts the test library into the product.
  bool Install(const std::wstring& name) const;
  // As Plugins\test.dll, the only plug-in, and as VELUL.dll.
  void UseTestLibrary(const std::string& parameters = "") const;
  // While true the test plug-in refuses every shutdown.
  void Veto(bool on) const { product.Write(L"veto", on ? "1" : ""); }

  // How often the test library has recorded an event with exactly this text or,
  // with a '*' at the end, one that begins with it.
  std::size_t Seen(const std::string& text) const;
  std::string Log() const { return product.Read(L"events.log"); }
  // Waits for an event.
  void Expect(const std::string& text, std::size_t times = 1) const;

  // Brindlemar.exe with these arguments.
  ChildProcess Start(const std::wstring& arguments = L"") const;
  // Starts it and waits for its end; gives its exit code.
  DWORD Run(const std::wstring& arguments = L"") const;
  // Starts the tray; false, and a failure, when it doesn't come up.
  [[nodiscard]] bool StartTray(const std::wstring& arguments = L"");
  ChildProcess& tray() { return *_tray; }
  // Gives the tray's exit code.
  DWORD WaitForTray();
  // Orders the end before.
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
