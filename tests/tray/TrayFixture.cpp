#include "TrayFixture.h"

#include <algorithm>

#include "foundation/DialogFactory.h"
#include "foundation/ModuleFile.h"
#include "foundation/PathParts.h"
#include "sessions/UserLibrary.h"
#include "sync/ProcAddress.h"
#include "tray/GuiIpc.h"

namespace vel::test {
namespace {

// The library isn't in the folder of the plug-ins, since it is the session
// library too.
constexpr char kPlugins[] = "..\\VELUL.dll,a\r\n..\\VELUL.dll,b\r\n";

void WritePluginList() {
  const std::wstring folder = directory_of(module_path(nullptr)) + L"Plugins";
  CreateDirectoryW(folder.c_str(), nullptr);
  const ScopedFileHandle file(CreateFileW((folder + L"\\plugins.txt").c_str(),
                                          GENERIC_WRITE, 0, nullptr,
                                          CREATE_ALWAYS, 0, nullptr));
  DWORD written = 0;
  WriteFile(file.get(), kPlugins, sizeof(kPlugins) - 1, &written, nullptr);
  ASSERT_EQ(written, sizeof(kPlugins) - 1);
}

}  // namespace

FakeMenuRecord& Menu() {
  static FakeMenuRecord* const record = proc_address<FakeMenuRecordFn*>(
      dialog_library(), FAKE_MENU_RECORD_EXPORT)();
  return *record;
}

FakeProduct& Product() {
  static FakeProduct* const record =
      proc_address<FakeProductFn*>(load_vel_ul(), FAKE_PRODUCT_EXPORT)();
  return *record;
}

TrayFixture::TrayFixture() {
  Menu() = FakeMenuRecord{};
  Product() = FakeProduct{};
  WritePluginList();
  QuitPosted();
}

TrayFixture::~TrayFixture() {
  _tray.reset();
  QuitPosted();
}

void TrayFixture::Start() {
  _tray = std::make_unique<TrayMenuHolder>(&_owner);
  ASSERT_TRUE(WaitFor(L"b: broadcast VELGUI_INITIALIZED 0"));
}

HWND TrayFixture::Window() const {
  return FindWindowW(VEL_TRAY_WINDOW_CLASS, L"");
}

std::vector<std::wstring> TrayFixture::Lines() {
  FakeProduct& product = Product();
  AcquireSRWLockShared(&product.lock);
  std::vector<std::wstring> lines(product.lines,
                                  product.lines + product.line_count);
  ReleaseSRWLockShared(&product.lock);
  return lines;
}

void TrayFixture::ForgetLines() {
  FakeProduct& product = Product();
  AcquireSRWLockExclusive(&product.lock);
  product.line_count = 0;
  ReleaseSRWLockExclusive(&product.lock);
}

bool TrayFixture::Has(const std::wstring& line) {
  const std::vector<std::wstring> lines = Lines();
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

bool TrayFixture::WaitFor(const std::wstring& line) {
  return Eventually([&] { return Has(line); });
}

bool TrayFixture::QuitPosted() {
  MSG message;
  bool quit = false;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) quit = true;
  }
  return quit;
}

NOTIFYICONDATAW TrayFixture::Shown() const {
  const std::vector<ShellCall> calls = _shell.Calls();
  return calls.empty() ? NOTIFYICONDATAW{} : calls.back().data;
}

bool TrayFixture::WaitForTip(const std::wstring& tip) const {
  return Eventually([&] { return tip == Shown().szTip; });
}

bool TrayFixture::WaitForIcon(HICON icon) const {
  return Eventually([&] { return Shown().hIcon == icon; });
}

}  // namespace vel::test
