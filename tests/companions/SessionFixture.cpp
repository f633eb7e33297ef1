#include "companions/SessionFixture.h"

#include <tlhelp32.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace vel::test {

SessionFixture::SessionFixture(const std::wstring& library)
    : _library(library), _session(Create()) {}

IVelSession* SessionFixture::Create() {
  return _library.Get<VelCreateSessionFn>(VEL_CREATE_SESSION_EXPORT)();
}

void SessionFixture::Start(IVelSession* session, const wchar_t* config) {
  const VelSessionStart parameters = {config, 0};
  session->start(&parameters);
  ASSERT_EQ(session->get_state(), VEL_SESSION_RUNNING);
}

void SessionFixture::Stop() {
  _session->shutdown();
  EXPECT_TRUE(WaitUntil(
      [this] { return _session->get_state() == VEL_SESSION_STOPPED; }));
}

std::wstring SessionFixture::NewReport() {
  _report = _scratch.File(std::to_wstring(++_reports));
  return _report;
}

std::vector<std::wstring> SessionFixture::ReadReport() {
  std::string bytes;
  // A file that has only just come may not be open to a reader yet.
  EXPECT_TRUE(WaitUntil([&] {
    bytes = _scratch.Read(std::to_wstring(_reports));
    return !bytes.empty();
  })) << "the child has written no report";
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data(), bytes.size());
  std::wistringstream stream(text);
  std::vector<std::wstring> lines;
  for (std::wstring line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::vector<std::wstring> SessionFixture::RunChild(const std::wstring& name) {
  const std::wstring parameters =
      L"--vel-child " + name + L" \"" + NewReport() + L"\"";
  EXPECT_EQ(_session->start_app(L"open", TestProgramPath().c_str(),
                                parameters.c_str(), L"", L""),
            ERROR_SUCCESS);
  return ReadReport();
}

void WriteReport(const std::wstring& path, std::vector<std::wstring> lines) {
  std::wstring text = std::to_wstring(GetCurrentProcessId()) + L"\n";
  for (const std::wstring& line : lines) text += line + L"\n";
  const std::filesystem::path unfinished = path + L".new";
  std::ofstream(unfinished, std::ios::binary)
      .write(reinterpret_cast<const char*>(text.data()),
             static_cast<std::streamsize>(text.size() * sizeof(wchar_t)));
  std::filesystem::rename(unfinished, path);
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

}  // namespace vel::test
