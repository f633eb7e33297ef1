#include "helpers/EventLines.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>

namespace vel::test {
namespace {

constexpr size_t kMaxLine = 4096;
SRWLOCK g_lock = SRWLOCK_INIT;

void Append(const std::string& bytes) {
  const HANDLE file =
      CreateFileW(BesideThisLibrary(L".log").c_str(), FILE_APPEND_DATA,
                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written,
            nullptr);
  CloseHandle(file);
}

std::string ToUtf8(const wchar_t* text) {
  char bytes[3 * kMaxLine];
  const int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes,
                                         sizeof bytes, nullptr, nullptr);
  return length > 0 ? std::string(bytes, static_cast<size_t>(length - 1)) : "?";
}

}  // namespace

std::wstring BesideThisLibrary(const wchar_t* suffix) {
  HMODULE self = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                         GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&g_lock), &self);
  wchar_t path[1024];
  return std::wstring(path, GetModuleFileNameW(self, path, 1024)) + suffix;
}

void EventLine(const wchar_t* format, ...) {
  wchar_t text[kMaxLine] = {};
  va_list arguments;
  va_start(arguments, format);
  _vsnwprintf(text, kMaxLine - 1, format, arguments);
  va_end(arguments);
  char tick[32];
  std::snprintf(tick, sizeof tick, "%lu ", GetTickCount());
  AcquireSRWLockExclusive(&g_lock);
  Append(tick + ToUtf8(text) + "\n");
  ReleaseSRWLockExclusive(&g_lock);
}

}  // namespace vel::test
