#include "companions/SessionFixture.h"

#include <tlhelp32.h>
#include <winternl.h>

#include <sstream>

#include "support/ChildProcess.h"

namespace vel::test {
namespace {

constexpr DWORD kPatience = 60000;

std::string Narrow(const std::wstring& text) {
  std::string bytes(text.size() * 3, '\0');
  bytes.resize(static_cast<std::size_t>(WideCharToMultiByte(
      CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), bytes.data(),
      static_cast<int>(bytes.size()), nullptr, nullptr)));
  return bytes;
}

std::wstring Widen(const std::string& bytes) {
  std::wstring text(bytes.size(), L'\0');
  text.resize(static_cast<std::size_t>(MultiByteToWideChar(
      CP_UTF8, 0, bytes.c_str(), static_cast<int>(bytes.size()), text.data(),
      static_cast<int>(text.size()))));
  return text;
}

}  // namespace

void EndRecorder::MgrShutdown(std::uint32_t status) {
  _status = status;
  ++_calls;
  SetEvent(_event);
}

std::uint32_t EndRecorder::Next() {
  const DWORD waited = WaitForSingleObject(_event, kPatience);
  return waited == WAIT_OBJECT_0 ? _status : 0xDEAD;
}

SessionFixture::SessionFixture(const std::wstring& library)
    : _library(library),
      _session(_library.Get<VelCreateSessionFn>(VEL_CREATE_SESSION_EXPORT)()) {
  EXPECT_TRUE(_session);
  _session->add_callback(&_ends);
}

SessionFixture::~SessionFixture() {
  _session->remove_callback(&_ends);
  _session->release();
}

void SessionFixture::Start(const wchar_t* config) {
  const VelSessionStart parameters = {config, 0};
  _session->start(&parameters);
  ASSERT_EQ(_session->get_state(), VEL_SESSION_RUNNING);
}

void SessionFixture::Stop() {
  _session->shutdown();
  EXPECT_EQ(WaitWhile(VEL_SESSION_RUNNING), VEL_SESSION_STOPPED);
}

std::uint32_t SessionFixture::WaitWhile(std::uint32_t state) {
  for (DWORD waited = 0; waited < kPatience && _session->get_state() == state;
       waited += 10) {
    Sleep(10);
  }
  return _session->get_state();
}

std::wstring SessionFixture::StartChild(const std::wstring& name) {
  const std::wstring report =
      _scratch.File(L"report " + std::to_wstring(++_reports));
  const std::wstring parameters =
      L"--vel-child " + name + L" \"" + report + L"\"";
  EXPECT_EQ(_session->start_app(L"open", TestProgramPath().c_str(),
                                parameters.c_str(), L"", L""),
            ERROR_SUCCESS);
  return report;
}

std::map<std::wstring, std::wstring> SessionFixture::ReportOf(
    const std::wstring& path) {
  const std::wstring name = path.substr(path.rfind(L'\\') + 1);
  // A file that has only just come may not be open to a reader yet.
  std::string bytes;
  for (DWORD waited = 0; waited < kPatience && bytes.empty(); waited += 20) {
    bytes = _scratch.Read(name);
    if (bytes.empty()) Sleep(20);
  }
  std::wistringstream lines(Widen(bytes));
  std::map<std::wstring, std::wstring> report;
  for (std::wstring line; std::getline(lines, line);) {
    const std::size_t equals = line.find(L'=');
    report[line.substr(0, equals)] = line.substr(equals + 1);
  }
  EXPECT_FALSE(report.empty()) << "the child has written no report";
  return report;
}

HANDLE SessionFixture::ProcessOf(
    const std::map<std::wstring, std::wstring>& report) {
  const auto id = report.find(L"pid");
  if (id == report.end()) return nullptr;
  return OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE,
                     wcstoul(id->second.c_str(), nullptr, 10));
}

void WriteReport(const std::wstring& path,
                 std::map<std::wstring, std::wstring> report) {
  report[L"pid"] = std::to_wstring(GetCurrentProcessId());
  std::wstring text;
  for (const auto& [key, value] : report) text += key + L"=" + value + L"\n";
  const std::string bytes = Narrow(text);
  const std::wstring unfinished = path + L".new";
  const HANDLE file = CreateFileW(unfinished.c_str(), GENERIC_WRITE, 0, nullptr,
                                  CREATE_ALWAYS, 0, nullptr);
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written,
            nullptr);
  CloseHandle(file);
  MoveFileW(unfinished.c_str(), path.c_str());
}

std::vector<DWORD> AnchorIds() {
  std::vector<DWORD> ids;
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(snapshot, &entry); more;
       more = Process32NextW(snapshot, &entry)) {
    if (entry.th32ParentProcessID == GetCurrentProcessId() &&
        _wcsicmp(entry.szExeFile, L"rundll32.exe") == 0) {
      ids.push_back(entry.th32ProcessID);
    }
  }
  CloseHandle(snapshot);
  return ids;
}

std::size_t OpenHandles() {
  struct Entry {
    void* object;
    ULONG_PTR process_id;
    ULONG_PTR handle;
    ULONG access;
    USHORT reserved[2];
    ULONG attributes;
    ULONG reserved_2;
  };
  constexpr int kSystemExtendedHandleInformation = 64;
  const auto query =
      reinterpret_cast<NTSTATUS(NTAPI*)(int, void*, ULONG, ULONG*)>(
          reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"),
                                                 "NtQuerySystemInformation")));
  std::vector<ULONG_PTR> buffer(1 << 14);
  while (query(kSystemExtendedHandleInformation, buffer.data(),
               static_cast<ULONG>(buffer.size() * sizeof buffer[0]),
               nullptr) != 0 &&
         buffer.size() < (1u << 24)) {
    buffer.resize(buffer.size() * 2);
  }
  const auto entries = reinterpret_cast<const Entry*>(&buffer[2]);
  std::size_t own = 0;
  for (ULONG_PTR index = 0; index < buffer[0]; ++index) {
    own += entries[index].process_id == GetCurrentProcessId();
  }
  return own;
}

}  // namespace vel::test
