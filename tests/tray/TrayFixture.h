// A whole tray in the test's process: the real object with its window, with
// stand-ins for the shell, the menu, the session library and two plug-ins.
#ifndef VEL_TESTS_TRAY_TRAYFIXTURE_H_
#define VEL_TESTS_TRAY_TRAYFIXTURE_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "FakeShell.h"
#include "fakes/FakeDialogs.h"
#include "fakes/FakeProduct.h"
#include "sessions/OwnerCallback.h"
#include "tray/TrayMenuHolder.h"

namespace vel::test {

// The records inside the stand-ins, which are loaded at the first call and kept
// to the end of the process.
FakeMenuRecord& Menu();
FakeProduct& Product();

class FakeOwner : public OwnerCallback {
 public:
  void on_settings_changed() override { ++changes; }
  std::atomic<int> changes{0};
};

// The test's thread is the tray's main thread. The plug-ins "a" and "b" are
// loaded in this order; the records are empty at the start of each test.
class TrayFixture : public testing::Test {
 public:
  TrayFixture();
  ~TrayFixture() override;

 protected:
  // Constructs the tray and waits until its plug-ins know.
  void Start();
  TrayMenuHolder& tray() { return *_tray; }
  HWND Window() const;

  // What the library's record holds so far.
  static std::vector<std::wstring> Lines();
  static void ForgetLines();
  static bool Has(const std::wstring& line);
  static bool WaitFor(const std::wstring& line);
  // Whether the tray has asked the main loop to end; the message is taken.
  static bool QuitPosted();

  // The shell's latest record, once the tip is the given one.
  bool WaitForTip(const std::wstring& tip) const;
  bool WaitForIcon(HICON icon) const;
  NOTIFYICONDATAW Shown() const;

  FakeShell _shell;
  FakeOwner _owner;
  std::unique_ptr<TrayMenuHolder> _tray;
};

}  // namespace vel::test

#endif  // VEL_TESTS_TRAY_TRAYFIXTURE_H_
