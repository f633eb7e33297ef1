#include "log/LogMutex.h"

namespace vel {
namespace {

constexpr int kAttempts = 300;
constexpr DWORD kRetryInterval = 50;  // ms
constexpr DWORD kPatience = 15000;    // ms

// Null when there is none to be had.
HANDLE open_mutex() noexcept {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    SetLastError(ERROR_SUCCESS);
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, LogMutex::kName);
    if (mutex != nullptr || GetLastError() != ERROR_ACCESS_DENIED) return mutex;
    Sleep(kRetryInterval);
  }
  return nullptr;
}

HANDLE take_mutex() noexcept {
  const HANDLE mutex = open_mutex();
  if (mutex == nullptr) return nullptr;
  if (WaitForSingleObject(mutex, kPatience) != WAIT_TIMEOUT) return mutex;
  CloseHandle(mutex);
  return nullptr;
}

}  // namespace

LogMutex::LogMutex() noexcept : _mutex(take_mutex()) {}

LogMutex::~LogMutex() {
  if (_mutex == nullptr) return;
  ReleaseMutex(_mutex);
  CloseHandle(_mutex);
}

}  // namespace vel
