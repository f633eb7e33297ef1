#include "session/MinMode.h"

#include <windows.h>

#include <cwchar>

#include "common/SrwLock.h"
#include "session/BuildKind.h"
#include "session/HookEvent.h"
#include "session/ModeBlock.h"

namespace velul {
namespace {

constexpr std::size_t kMaxMode = 260;

constinit companion::SrwLock mode_lock;
wchar_t own_mode[kMaxMode];

DWORD take_mode(const wchar_t* mode) {
  if (!mode || !*mode || wcslen(mode) >= kMaxMode) {
    return ERROR_INVALID_PARAMETER;
  }
  const companion::SrwLock::Scope scope(mode_lock);
  if (*own_mode) {
    return _wcsicmp(own_mode, mode) == 0 ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS;
  }
  if (!publish_hook_event() || !publish_mode(mode)) return GetLastError();
  wcscpy(own_mode, mode);
  return ERROR_SUCCESS;
}

}  // namespace

bool init_min_mode(const wchar_t* mode) {
  const DWORD error =
      kReducedBuild ? take_mode(mode) : DWORD{ERROR_CALL_NOT_IMPLEMENTED};
  if (error != ERROR_SUCCESS) SetLastError(error);
  return error == ERROR_SUCCESS;
}

}  // namespace velul
