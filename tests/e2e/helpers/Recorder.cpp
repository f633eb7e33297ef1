// An application to be opened in a session. It writes what it was started with
// to "<process id>.txt" in the directory of VEL_E2E_RECORDS, complete from the
// moment when the name is there. With "stay" in its command line it then waits
// to be ended.
#include <windows.h>

#include <cwchar>
#include <string>

namespace {

std::wstring Variable(const wchar_t* name) {
  wchar_t value[1024];
  return {value, GetEnvironmentVariableW(name, value, 1024)};
}

bool WriteWhole(const std::wstring& path, const std::wstring& text) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                  CREATE_NEW, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const BOOL good = WriteFile(file, text.data(),
                              static_cast<DWORD>(text.size() * sizeof(wchar_t)),
                              &written, nullptr);
  CloseHandle(file);
  return good;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  const std::wstring line = GetCommandLineW();
  wchar_t name[32];
  _snwprintf(name, 32, L"\\%lu", GetCurrentProcessId());
  const std::wstring path = Variable(L"VEL_E2E_RECORDS") + name;
  if (!WriteWhole(path + L".part",
                  Variable(L"VELCFG") + L"\n" + line + L"\n") ||
      !MoveFileW((path + L".part").c_str(), (path + L".txt").c_str())) {
    return 2;
  }
  if (line.find(L"stay") != std::wstring::npos) Sleep(INFINITE);
  return 0;
}
