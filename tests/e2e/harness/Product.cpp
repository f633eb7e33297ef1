#include "harness/Product.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <filesystem>
#include <sstream>

#include "harness/GuiIpcClient.h"
#include "support/Wait.h"

namespace vel::test {
namespace fs = std::filesystem;
namespace {

constexpr wchar_t kStageVariable[] = L"VEL_E2E_STAGE";

std::wstring StagePath() {
  wchar_t path[1024];
  const DWORD length = GetEnvironmentVariableW(kStageVariable, path, 1024);
  EXPECT_GT(length, 0u) << "VEL_E2E_STAGE has to name the staged product";
  return {path, length};
}

std::wstring Widen(const std::string& text) {
  std::vector<wchar_t> wide(text.size() + 1);
  const int length = MultiByteToWideChar(
      CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
      static_cast<int>(wide.size()));
  return {wide.data(), static_cast<std::size_t>(std::max(length, 0))};
}

}  // namespace

std::wstring BesideTheTests(const std::wstring& helper) {
  return fs::path(TestProgramPath()).replace_filename(helper).wstring();
}

Product::Product() {
  std::error_code error;
  fs::copy(StagePath(), _directory.path(),
           fs::copy_options::recursive | fs::copy_options::overwrite_existing,
           error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_TRUE(FileExists(File(L"Brindlemar.exe")));
  EXPECT_TRUE(SetPlugins(""));
}

// A process that has just ended may still be let go of by the system; the
// directory can be removed only then.
Product::~Product() {
  WaitUntil([this] { return DeleteFileW(File(L"Brindlemar.exe").c_str()); },
            2000);
}

std::wstring Product::File(const std::wstring& name) const {
  return _directory.File(name);
}

bool Product::Write(const std::wstring& name, const std::string& bytes) const {
  return !_directory.Write(name, bytes).empty();
}

bool Product::Remove(const std::wstring& name) const {
  return DeleteFileW(File(name).c_str()) ||
         GetLastError() == ERROR_FILE_NOT_FOUND;
}

bool Product::Install(const wchar_t* helper, const std::wstring& name) const {
  const BOOL copied =
      CopyFileW(BesideTheTests(helper).c_str(), File(name).c_str(), FALSE);
  EXPECT_TRUE(copied) << GetLastError();
  return copied;
}

bool Product::SetPlugins(const std::string& text) const {
  return Write(L"Plugins\\plugins.txt", text);
}

bool Product::UseStagedPlugins() const {
  return CopyFileW((StagePath() + L"\\Plugins\\plugins.txt").c_str(),
                   File(L"Plugins\\plugins.txt").c_str(), FALSE);
}

bool Product::UseTestPlugin(const std::string& parameters) const {
  return Install(L"e2e_plugin.dll", L"Plugins\\test.dll") &&
         SetPlugins("test.dll," + parameters + "\r\n");
}

bool Product::UseTestSession() const {
  return Install(L"e2e_session.dll", L"VELUL.dll");
}

bool Product::Veto(bool on) const {
  const std::wstring flag = L"Plugins\\test.dll.veto";
  return on ? Write(flag, "1") : Remove(flag);
}

std::vector<Event> Product::Events(const std::wstring& library) const {
  std::vector<Event> events;
  std::istringstream lines(_directory.Read(library + L".log"));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos) continue;
    events.push_back(
        {static_cast<DWORD>(std::stoul(line)), Widen(line.substr(blank + 1))});
  }
  return events;
}

ChildProcess Product::Start(const std::wstring& arguments) const {
  return ChildProcess::Start(L"\"" + File(L"Brindlemar.exe") + L"\" " +
                             arguments);
}

DWORD Product::Run(const std::wstring& arguments) const {
  return Start(arguments).Wait().value_or(kStillRunning);
}

// The event that /set_event sets once the tray is up.
class Tray::UpEvent {
 public:
  UpEvent() {
    _snwprintf(_name, 64, L"vel_e2e_up_%x_%x", GetCurrentProcessId(),
               GetTickCount());
    _event = CreateEventW(nullptr, TRUE, FALSE, _name);
  }
  ~UpEvent() { CloseHandle(_event); }
  UpEvent(const UpEvent&) = delete;
  UpEvent& operator=(const UpEvent&) = delete;

  std::wstring Argument() const {
    return L" /set_event=\"" + std::wstring(_name) + L"\"";
  }
  // False when the process ends first or nothing happens.
  bool WaitFor(HANDLE process) const {
    const HANDLE both[] = {_event, process};
    return WaitForMultipleObjects(2, both, FALSE, kPatienceMs) == WAIT_OBJECT_0;
  }

 private:
  wchar_t _name[64];
  HANDLE _event;
};

Tray::Tray(const Product& product, const std::wstring& arguments)
    : Tray(product, arguments, UpEvent()) {}

Tray::Tray(const Product& product, const std::wstring& arguments,
           const UpEvent& event)
    : _process(product.Start(arguments + event.Argument())) {
  _up = event.WaitFor(_process.process()) && FindTray();
  EXPECT_TRUE(_up) << "the tray doesn't come up";
}

// A tray that a failed test leaves behind must not meet the next test.
Tray::~Tray() {
  if (!Runs()) return;
  _process.Kill();
  WaitUntil([] { return !FindTray(); }, 5000);
}

bool Tray::Runs() {
  return !_process.Wait(0);
}

DWORD Tray::WaitForExit() {
  return _process.Wait().value_or(kStillRunning);
}

DWORD Tray::Shutdown() {
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  return WaitForExit();
}

std::size_t Count(const std::vector<Event>& events, const std::wstring& text) {
  return static_cast<std::size_t>(
      std::count_if(events.begin(), events.end(),
                    [&](const Event& event) { return event.text == text; }));
}

std::size_t CountBeginning(const std::vector<Event>& events,
                           const std::wstring& text) {
  return static_cast<std::size_t>(std::count_if(
      events.begin(), events.end(),
      [&](const Event& event) { return event.text.rfind(text, 0) == 0; }));
}

std::string Describe(const std::vector<Event>& events) {
  std::string all;
  for (const Event& event : events) {
    all += "\n  ";
    for (const wchar_t c : event.text) {
      all += c < 0x80 ? static_cast<char>(c) : '?';
    }
  }
  return all;
}

}  // namespace vel::test
