// Stands in for firefox.exe. VELTEST_FIREFOX says how it behaves, VELTEST_SEEN
// names the file that it notes things in:
//   window    shows a window, and ends when it is closed
//   stubborn  shows one that ignores all requests to go
//   hidden    has a window that isn't shown
//   ends      ends at once
#include <windows.h>

#include <cstring>

namespace {

char mode[16];

void note(const char* text) {
  char path[MAX_PATH];
  if (GetEnvironmentVariableA("VELTEST_SEEN", path, MAX_PATH) == 0) return;
  const HANDLE file =
      CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_ALWAYS, 0, nullptr);
  DWORD written = 0;
  WriteFile(file, text, static_cast<DWORD>(std::strlen(text)), &written,
            nullptr);
  CloseHandle(file);
}

bool is(const char* name) {
  return std::strcmp(mode, name) == 0;
}

LRESULT CALLBACK window_proc(HWND window, UINT message, WPARAM w, LPARAM l) {
  static int destroys = 0;  // one comes sent and one posted
  static bool sent = false;
  if (message == WM_CLOSE) note("close ");
  if (message == WM_CLOSE && is("stubborn")) return 0;
  if (message == WM_DESTROY && !is("stubborn")) PostQuitMessage(0);
  if (message == WM_DESTROY && is("stubborn")) {
    if (++destroys > 1) note(sent != InSendMessage() ? "destroy " : "again ");
    sent = InSendMessage();
  }
  return DefWindowProcW(window, message, w, l);
}

void note_start() {
  char name[64] = "";
  GetUserObjectInformationA(GetThreadDesktop(GetCurrentThreadId()), UOI_NAME,
                            name, sizeof name, nullptr);
  note(lstrcatA(name, " "));
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, wchar_t*, int) {
  GetEnvironmentVariableA("VELTEST_FIREFOX", mode, sizeof mode);
  note_start();
  if (is("ends")) return 0;
  WNDCLASSW type = {};
  type.lpfnWndProc = &window_proc;
  type.hInstance = instance;
  type.lpszClassName = L"MozillaUIWindowClass";
  RegisterClassW(&type);
  CreateWindowW(type.lpszClassName, L"", is("hidden") ? 0 : WS_VISIBLE, 0, 0,
                100, 100, nullptr, nullptr, instance, nullptr);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  note("end ");
  return 0;
}
