// TrayMenuHolder: the receiving side of GUI IPC, where both doors end.
#include <process.h>

#include <cstdlib>
#include <cstring>

#include "foundation/CommandLine.h"
#include "log/VelLog.h"
#include "tray/GuiIpcBlock.h"
#include "tray/TrayMenuHolder.h"
#include "vel/GuiIpc.h"
#include "vel/IVelPlugin.h"

namespace vel {
namespace {

enum CommandResult : std::uint32_t {
  kNotHandled = 0,
  kDone = 1,
  kRefused = 2,
};

// Commands that are nothing but a broadcast.
struct CommandBroadcast {
  std::uint32_t command;
  const wchar_t* name;
};
constexpr CommandBroadcast kBroadcasts[] = {
    {VELGUI_IPC_CONFIGURE, vel_broadcast::kConfigure},
    {VELGUI_IPC_ABOUT, vel_broadcast::kAbout},
    {VELGUI_IPC_UPDATE_CHECK_VERSION, vel_broadcast::kUpdateCheckVersion},
    {VELGUI_IPC_FLUSH_SESSION, vel_broadcast::kFlushSession},
    {VELGUI_IPC_RESTORE_ALERTS_SETTINGS, vel_broadcast::kRestoreAlertsSettings},
    {VELGUI_IPC_UI_SETTINGS_CHANGED, vel_broadcast::kUiSettingsChanged},
};

const wchar_t* broadcast_of(std::uint32_t command) {
  for (const CommandBroadcast& entry : kBroadcasts) {
    if (entry.command == command) return entry.name;
  }
  return nullptr;
}

bool is_shutdown_command(std::uint32_t command) {
  return command == VELGUI_IPC_SHUTDOWN || command == VELGUI_IPC_SOFT_SHUTDOWN;
}

void store_word(void* buffer, std::uint32_t word) {
  std::memcpy(buffer, &word, sizeof(word));
}

// Whether the block has room for the entries that it announces.
bool has_version_entries(const void* buffer, std::uint32_t size) {
  if (size < sizeof(VelVersionInfo)) return false;
  std::uint32_t count;
  std::memcpy(&count, buffer, sizeof(count));
  constexpr std::uint64_t kEntrySize = sizeof(VelVersionInfo::entries[0]);
  return size >= offsetof(VelVersionInfo, entries) + kEntrySize * count;
}

// What the block of VELGUI_IPC_UPDATE_STATUS gets.
std::uint32_t status_word(std::int32_t status) {
  constexpr std::int32_t kLastStatus = 3;
  if (status >= 0 && status <= kLastStatus) {
    return static_cast<std::uint32_t>(status) + 1;
  }
  VelLog_Print(kLogError, L"VELGUI_IPC_UPDATE_STATUS: unknown status=0x%x",
               status);
  return 0;
}

}  // namespace

// The command gets a thread of its own, while the window thread or the pipe's
// task waits here.
std::uint32_t TrayMenuHolder::on_gui_ipc(std::uint32_t command,
                                         const std::wstring& text) {
  struct Call {
    TrayMenuHolder* holder;
    std::uint32_t command;
    const std::wstring& text;

    static unsigned __stdcall Run(void* parameter) {
      auto* const call = static_cast<Call*>(parameter);
      try {
        return call->holder->OnGuiIpc(call->command, call->text);
      } catch (const std::bad_alloc&) {
        return kNotHandled;
      }
    }
  };
  Call call{this, command, text};
  const ScopedHandle thread(reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, 0, Call::Run, &call, 0, nullptr)));
  if (!thread) return kNotHandled;
  WaitForSingleObject(thread.get(), INFINITE);
  DWORD result = kNotHandled;
  GetExitCodeThread(thread.get(), &result);
  return result;
}

std::uint32_t TrayMenuHolder::OnGuiIpc(std::uint32_t command,
                                       const std::wstring& text) {
  VelLog_Print(kLogNotice,
               L"TrayMenuHolder::OnGuiIpc(%i, '%s') _shutting_down=%i", command,
               text.c_str(), _shutting_down.load());
  if (_shutting_down && command != VELGUI_IPC_IS_SHUTTING_DOWN) {
    VelLog_Print(kLogNotice,
                 L"TrayMenuHolder::gui_ipc_handler %i _shutting_down=%i",
                 command, _shutting_down.load());
    // A shutdown is what these asked for.
    return is_shutdown_command(command) ? kDone : kNotHandled;
  }
  const std::wstring tag = get_param(text, VEL_GUI_IPC_MAPPING_KEY);
  if (tag.empty()) return dispatch_command(command, text);
  if (run_block_command(command, text, tag)) return kDone;
  VelLog_Print(kLogError, L"OnGuiIpc(0x%x, '%s') - le=%u", command,
               text.c_str(), GetLastError());
  return kNotHandled;
}

bool TrayMenuHolder::run_block_command(std::uint32_t command,
                                       const std::wstring& text,
                                       const std::wstring& tag) {
  const GuiIpcBlock block(text, tag);
  if (block.view() == nullptr) return false;
  gui_ipc_handler(command, block.view(), block.size());
  return true;
}

std::uint32_t TrayMenuHolder::dispatch_command(std::uint32_t command,
                                               const std::wstring& text) {
  switch (command) {
    case VELGUI_IPC_RUNCMD:
      return process_runcmd(text) ? kDone : kNotHandled;
    case VELGUI_IPC_SHUTDOWN:
      _sys_shutdown = true;
      shutdown(VEL_SHUTDOWN_FORCED);
      return kDone;
    case VELGUI_IPC_SOFT_SHUTDOWN:
      return soft_shutdown(text);
    case VELGUI_IPC_OPEN_UNPROTECTED_BROWSER:
      _plugins.post_broadcast(nullptr, vel_broadcast::kOpenUnprotectedBrowser,
                              static_cast<std::uint32_t>(_wtoi(text.c_str())),
                              0);
      return kDone;
    default:
      break;
  }
  const wchar_t* const name = broadcast_of(command);
  if (name == nullptr) return kNotHandled;
  _plugins.post_broadcast(nullptr, name, 0, 0);
  return kDone;
}

// _sys_shutdown is taken back here and nowhere else.
std::uint32_t TrayMenuHolder::soft_shutdown(const std::wstring& text) {
  _sys_shutdown = true;
  const auto type = static_cast<std::uint32_t>(_wtoi(text.c_str()));
  try {
    const std::uint32_t status = close_session(nullptr, type);
    // The tray has begun to end by itself: what this asked for.
    if (status == VEL_STATUS_OK || status == VEL_STATUS_SHUTTING_DOWN) {
      return kDone;
    }
  } catch (...) {
    _sys_shutdown = false;
    throw;
  }
  _sys_shutdown = false;
  return kRefused;
}

void TrayMenuHolder::gui_ipc_handler(std::uint32_t command, void* buffer,
                                     std::uint32_t size) {
  const auto block = reinterpret_cast<std::uintptr_t>(buffer);
  switch (command) {
    case VELGUI_IPC_GET_VERSION_INFO:
      if (!has_version_entries(buffer, size)) break;
      _plugins.send_broadcast(nullptr, vel_broadcast::kGetVersionInfo, 0,
                              block);
      break;
    case VELGUI_IPC_UPDATE_STATUS: {
      if (size < sizeof(std::uint32_t)) break;
      std::int32_t status = -1;
      _plugins.send_broadcast(nullptr, vel_broadcast::kUpdateGetStatus, 0,
                              reinterpret_cast<std::uintptr_t>(&status));
      store_word(buffer, status_word(status));
      break;
    }
    case VELGUI_IPC_HAS_INTERACTIVE_APPS:
      _plugins.send_broadcast(nullptr, vel_broadcast::kHasInteractiveApps, 0,
                              block);
      break;
    case VELGUI_IPC_IS_SHUTTING_DOWN:
      if (size < sizeof(std::uint32_t)) break;
      store_word(buffer, _shutting_down || _sys_shutdown ? 1 : 0);
      break;
    case VELGUI_IPC_SET_URL_MODE_POLICY:
      _plugins.send_broadcast(nullptr, vel_broadcast::kSetUrlModePolicy, block,
                              size);
      break;
    case VELGUI_IPC_UPDATE_ENUM_UPDATES:
      _plugins.send_broadcast(nullptr, vel_broadcast::kUpdateEnumUpdates, block,
                              size);
      break;
    default:
      break;
  }
}

std::intptr_t TrayMenuHolder::OnPipeCommand(std::uint32_t command,
                                            const std::wstring& args) {
  const auto result = static_cast<std::int32_t>(on_gui_ipc(command, args));
  return result < 0 ? result : std::intptr_t{result} + 1;
}

}  // namespace vel
