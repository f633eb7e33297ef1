#include "harness/Product.h"

#include <winternl.h>

#include <cstring>
#include <filesystem>
#include <sstream>

#include "sync/ProcAddress.h"

namespace vel::test {
namespace fs = std::filesystem;
namespace {

// A fatal failure otherwise leaves only the function that it is in, and the
// test would go on from wait to wait.
struct FatalFailuresEndTheTest : testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (result.fatally_failed()) throw testing::AssertionException(result);
  }
};
[[maybe_unused]] const bool listens = [] {
  testing::UnitTest::GetInstance()->listeners().Append(
      new FatalFailuresEndTheTest);
  return true;
}();

}  // namespace

HWND FindTray() {
  return FindWindowW(VEL_TRAY_WINDOW_CLASS, L"");
}

DWORD TrayProcess() {
  DWORD id = 0;
  GetWindowThreadProcessId(FindTray(), &id);
  return id;
}

bool SendCommand(std::uint32_t command, const std::wstring& text) {
  const std::size_t text_bytes = text.size() * sizeof(wchar_t);
  std::vector<unsigned char> block(VEL_GUI_IPC_MIN_COPYDATA + text_bytes);
  std::memcpy(block.data(), &command, sizeof command);
  std::memcpy(block.data() + sizeof command, text.data(), text_bytes);
  COPYDATASTRUCT data = {0, static_cast<DWORD>(block.size()), block.data()};
  DWORD_PTR answer = 0;
  return SendMessageTimeoutW(FindTray(), WM_COPYDATA, 0,
                             reinterpret_cast<LPARAM>(&data), SMTO_NORMAL,
                             kPatienceMs, &answer) &&
         answer != 0;
}

Counts CountsOf(DWORD process_id) {
  const auto query = proc_address<decltype(&NtQuerySystemInformation)>(
      GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
  std::vector<BYTE> list(1 << 20);
  EXPECT_EQ(query(SystemProcessInformation, list.data(),
                  static_cast<ULONG>(list.size()), nullptr),
            0);
  const auto* entry =
      reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(list.data());
  while (HandleToULong(entry->UniqueProcessId) != process_id &&
         entry->NextEntryOffset != 0) {
    entry = reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(
        reinterpret_cast<const BYTE*>(entry) + entry->NextEntryOffset);
  }
  return {entry->HandleCount, entry->NumberOfThreads};
}

DWORD ExitCodeOf(ChildProcess& process, DWORD timeout_ms) {
  const auto code = process.Wait(timeout_ms);
  [&] { ASSERT_TRUE(code) << "a process doesn't end"; }();
  return *code;
}

HWND WaitForDialog(DWORD process_id) {
  HWND window = nullptr;
  const auto is_there = [&] {
    DWORD owner = 0;
    window = FindWindowExW(nullptr, window, L"#32770", nullptr);
    GetWindowThreadProcessId(window, &owner);
    return owner == process_id && IsWindowVisible(window);
  };
  [&] { ASSERT_TRUE(WaitUntil(is_there)) << "no dialog"; }();
  return window;
}

ProductTest::ProductTest() {
  wchar_t stage[1024] = {};
  GetEnvironmentVariableW(L"VEL_E2E_STAGE", stage, 1024);
  std::error_code error;
  fs::copy(stage, product.path(),
           fs::copy_options::recursive | fs::copy_options::overwrite_existing,
           error);
  [&] {
    ASSERT_FALSE(error) << "VEL_E2E_STAGE has to name the staged product: "
                        << error.message();
    // The window and the mutex are the desktop's, not the test's.
    ASSERT_EQ(FindTray(), nullptr) << "another tray runs on this desktop";
  }();
}

// A process that has just ended may still be let go of by the system; the
// directory can be removed only then.
ProductTest::~ProductTest() {
  _tray.reset();
  const std::wstring program = product.File(L"Brindlemar.exe");
  WaitUntil([&] { return DeleteFileW(program.c_str()); }, 2000);
}

void ProductTest::TearDown() {
  if (_tray && !_tray_was_awaited) {
    EXPECT_EQ(Shutdown(), 0u);
  }
}

void ProductTest::UseTestLibrary(const std::string& parameters) const {
  const auto library =
      fs::path(TestProgramPath()).replace_filename(L"e2e_library.dll");
  for (const wchar_t* name : {L"Plugins\\test.dll", L"VELUL.dll"}) {
    ASSERT_TRUE(CopyFileW(library.c_str(), product.File(name).c_str(), FALSE));
  }
  product.Write(L"Plugins\\plugins.txt", "test.dll," + parameters + "\r\n");
}

std::size_t ProductTest::Seen(const std::string& text) const {
  const bool whole = !text.ends_with('*');
  const std::string begin = whole ? text : text.substr(0, text.size() - 1);
  std::istringstream lines(Log());
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line);) {
    count += whole ? line == begin : line.starts_with(begin);
  }
  return count;
}

void ProductTest::Expect(const std::string& text, std::size_t times) const {
  ASSERT_TRUE(WaitUntil([&] { return Seen(text) >= times; }))
      << text << " wasn't seen " << times << " times in\n"
      << Log();
}

ChildProcess ProductTest::Start(const std::wstring& arguments) const {
  return ChildProcess::Start(L"\"" + product.File(L"Brindlemar.exe") + L"\" " +
                             arguments);
}

DWORD ProductTest::Run(const std::wstring& arguments) const {
  ChildProcess process = Start(arguments);
  return ExitCodeOf(process);
}

bool ProductTest::StartTray(const std::wstring& arguments) {
  const std::wstring name =
      L"vel_e2e_up_" + std::to_wstring(GetCurrentProcessId());
  const HANDLE up = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
  _tray_was_awaited = false;
  _tray.emplace(Start(arguments + L" /set_event=\"" + name + L"\""));
  const HANDLE both[] = {up, _tray->process()};
  const bool came =
      WaitForMultipleObjects(2, both, FALSE, kPatienceMs) == WAIT_OBJECT_0 &&
      FindTray();
  CloseHandle(up);
  EXPECT_TRUE(came) << "the tray doesn't come up";
  return came;
}

DWORD ProductTest::WaitForTray() {
  _tray_was_awaited = true;
  return ExitCodeOf(*_tray);
}

DWORD ProductTest::Shutdown() {
  EXPECT_TRUE(SendCommand(VELGUI_IPC_SHUTDOWN));
  return WaitForTray();
}

}  // namespace vel::test
