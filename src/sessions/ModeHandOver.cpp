#include "sessions/ModeHandOver.h"

#include <winternl.h>

#include <cwchar>
#include <vector>

#include "log/LogText.h"
#include "log/VelLog.h"
#include "security/LowLabel.h"
#include "sessions/UserLibrary.h"
#include "sync/NtApi.h"
#include "sync/ProcAddress.h"
#include "sync/ScopedHandle.h"
#include "sync/VelMemUtils.h"
#include "vel/IVelSession.h"

namespace vel {
namespace {

constexpr wchar_t kLibraryName[] = L"VELUL";
constexpr wchar_t kLibraryFile[] = L"VELUL.dll";

// The name of an object of one process, with the id in it.
class ObjectName {
 public:
  const wchar_t* text() const { return _text; }

  static ObjectName hook_event(DWORD process_id) {
    ObjectName name;
    nt_print(name._text, kRoom, L"%s_%x", kLibraryName, process_id);
    return name;
  }
  static ObjectName mode_block(DWORD process_id) {
    ObjectName name;
    nt_print(name._text, kRoom, L"VELUL_MIN:%x", process_id);
    return name;
  }

 private:
  static constexpr std::size_t kRoom = 31;
  wchar_t _text[kRoom + 1] = {};
};

template <typename Fn>
Fn* library_export(const char* name) {
  const HMODULE library = GetModuleHandleW(kLibraryFile);
  return library != nullptr ? proc_address<Fn*>(library, name) : nullptr;
}

// 0 when the system doesn't tell.
DWORD parent_process_id() {
  PROCESS_BASIC_INFORMATION information = {};
  const NTSTATUS status = nt::ZwQueryInformationProcess(
      GetCurrentProcess(), ProcessBasicInformation, &information,
      sizeof information, nullptr);
  return nt::succeeded(status)
             ? static_cast<DWORD>(information.InheritedFromUniqueProcessId)
             : 0;
}

std::vector<BYTE> bytes_of(const std::wstring& text) {
  const auto* const bytes = reinterpret_cast<const BYTE*>(text.c_str());
  return {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
}

bool is_in_this_process() {
  return GetModuleHandleW(kLibraryFile) != nullptr;
}

// Frees the library again when the mode can't be had.
bool init_mode(HMODULE library, const std::wstring& mode) {
  const auto init =
      proc_address<InitMinModeFn*>(library, VEL_INIT_MIN_MODE_EXPORT);
  if (init == nullptr || init(mode.c_str()) != 0) return true;
  VelLog_Print(kLogError, L"CheckedVelulLoad: failed to init mode '%s' le=%u",
               mode.c_str(), GetLastError());
  FreeLibrary(library);
  return false;
}

}  // namespace

bool is_hooked_process(DWORD process_id, bool need_ready) {
  const ScopedHandle event(OpenEventW(
      SYNCHRONIZE, FALSE, ObjectName::hook_event(process_id).text()));
  if (!event) return false;
  const bool ready = WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0;
  return !need_ready || ready;
}

bool is_hooked_window(HWND window, bool need_ready) {
  DWORD process_id = 0;
  return GetWindowThreadProcessId(window, &process_id) != 0 &&
         is_hooked_process(process_id, need_ready);
}

bool query_hooks_ready(int level) {
  wchar_t directory[MAX_PATH];
  if (GetEnvironmentVariableW(L"VELDIR", directory, MAX_PATH) == 0) {
    return false;
  }
  const auto query = library_export<VelQueryInitHooksParamFn>(
      VEL_QUERY_INIT_HOOKS_PARAM_EXPORT);
  if (query == nullptr) return false;
  if (level == kHooksLibraryLoaded) return true;
  const std::uint32_t* const record = query();
  if (record == nullptr || *record == 0) return false;
  return level == kHooksSetUp || is_hooked_process(GetCurrentProcessId(), true);
}

std::wstring get_min_mode(DWORD process_id) {
  std::vector<BYTE> data;
  if (!read_memory_block(data, ObjectName::mode_block(process_id).text()) ||
      data.size() < sizeof(wchar_t)) {
    return {};
  }
  const auto* const text = reinterpret_cast<const wchar_t*>(data.data());
  return {text, wcsnlen(text, data.size() / sizeof(wchar_t))};
}

std::wstring get_own_min_mode() {
  if (const DWORD parent = parent_process_id()) {
    std::wstring mode = get_min_mode(parent);
    if (!mode.empty()) return mode;
  }
  return get_min_mode(GetCurrentProcessId());
}

bool set_min_mode(const std::wstring& mode, HANDLE process) {
  const DWORD process_id = GetProcessId(process);
  if (process_id == 0) {
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
  }
  const std::wstring present = get_min_mode(process_id);
  if (!present.empty()) {
    if (_wcsicmp(present.c_str(), mode.c_str()) == 0) return true;
    SetLastError(ERROR_ALREADY_EXISTS);
    return false;
  }
  const HANDLE block = write_memory_block(
      bytes_of(mode), ObjectName::mode_block(process_id).text());
  if (block == nullptr) return false;
  SetLowLabel(SE_KERNEL_OBJECT, block);
  HANDLE handed_over = nullptr;
  return DuplicateHandle(
             GetCurrentProcess(), block, process, &handed_over, 0, FALSE,
             DUPLICATE_CLOSE_SOURCE | DUPLICATE_SAME_ACCESS) != FALSE;
}

bool CheckedVelulLoad() {
  if (is_in_this_process()) return true;
  const std::wstring mode = get_own_min_mode();
  if (mode.empty()) return false;
  const HMODULE library = load_vel_ul_min();
  if (library == nullptr) {
    VelLog_Print(kLogError, L"CheckedVelulLoad: failed to load dll le=%u",
                 GetLastError());
    return false;
  }
  if (!init_mode(library, mode)) return false;
  VelLog_Print(kLogNotice, L"CheckedVelulLoad: initialized mode '%s'",
               mode.c_str());
  return true;
}

std::uintptr_t vel_ipc_connect(std::uintptr_t argument) {
  const auto connect = library_export<VelIpcConnectFn>(VEL_IPC_CONNECT_EXPORT);
  return connect != nullptr ? connect(argument) : 0;
}

}  // namespace vel
