#include "tray/TrayMenuHolder.h"

#include <process.h>

#include <cstdio>
#include <new>
#include <utility>

#include "foundation/I18N.h"
#include "log/VelLog.h"
#include "sync/NtApi.h"
#include "sync/Trap.h"
#include "tray/EntryHooks.h"
#include "tray/ServiceWatch.h"
#include "tray/VELTrayIcon.h"
#include "vel/IVelPlugin.h"
#include "vel/PipeMessage.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

constexpr int kIconSize = 16;
constexpr std::uint32_t kExitItemId = 0;
// For a window thread that is in a plug-in which was given up.
constexpr DWORD kLastPatienceMs = 10000;

// 0 when the system doesn't tell.
std::uint32_t windows_session_id() {
  ULONG session = 0;
  const NTSTATUS status = nt::ZwQueryInformationProcess(
      GetCurrentProcess(), nt::kProcessSessionInformation, &session,
      sizeof(session), nullptr);
  return nt::succeeded(status) ? session : 0;
}

}  // namespace

TrayMenuHolder::TrayMenuHolder(OwnerCallback* owner_callback, FieldsOnly)
    : VelPipeServer(static_cast<PipeCommandHandler*>(this)),
      _stop_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      _plugins(owner_callback),
      _default_icon(static_cast<HICON>(
          LoadImageW(instance_handle, MAKEINTRESOURCEW(kTrayIconResource),
                     IMAGE_ICON, kIconSize, kIconSize, LR_DEFAULTCOLOR))),
      _main_thread_id(GetCurrentThreadId()),
      _session_id(windows_session_id()) {
  if (!_stop_event) vel_trap();
}

TrayMenuHolder::TrayMenuHolder(OwnerCallback* owner_callback)
    : TrayMenuHolder(owner_callback, FieldsOnly{}) {
  _svc_process = SharedHandle(svc_send_init());
  // Plug-ins are in memory before the pipe can deliver any command.
  _plugins.load_plugins(this);
  Start();
  if (_svc_process) start_service_watch();
  make_tray_icon();
  // The tip and the icon are worked out for the first time.
  set_notify_hint(kRefreshOnly, nullptr);
  set_notify_icon(kRefreshOnly, nullptr);
  _plugins.post_broadcast(nullptr, vel_broadcast::kGuiInitialized, 0, 0);
}

TrayMenuHolder::~TrayMenuHolder() {
  // Also when nobody has asked for the end: the window may have been lost.
  _shutting_down = true;
  Stop(INFINITE);
  SetEvent(_stop_event.get());
  if (_svc_reinit_thread) {
    WaitForSingleObject(_svc_reinit_thread.get(), INFINITE);
  }
  // A menu that is open now would keep the window thread for as long as the
  // user likes.
  if (VELTrayIcon* const icon = tray_icon()) {
    icon->detach_menu_handlers();
    icon->close_menu();
  }
  const bool all_ended = _plugins.stop();
  if (!all_ended && !end_window_thread(kLastPatienceMs)) end_process();
  remove_tray_icon();
  if (all_ended) _exit_task.wait();
  // A holder that still has a session stops it here. It tells the plug-in host,
  // which has no plug-ins any more, but has to be there. One whose event was
  // given up is still in use.
  if (!_session_waits.has_events()) _sessions.clear();
  if (_default_icon != nullptr) DestroyIcon(_default_icon);
  // What was given up may come back to this object at any time.
  if (!all_ended) end_process();
}

void TrayMenuHolder::start_service_watch() {
  _plugins.post_broadcast(nullptr, vel_broadcast::kSvcInitialized, 1, 0);
  _svc_reinit_thread = SharedHandle(reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, 0, svc_reinit_thread, this, 0, nullptr)));
}

unsigned __stdcall TrayMenuHolder::svc_reinit_thread(void* self) {
  static_cast<TrayMenuHolder*>(self)->svc_reinit_proc();
  return 0;
}

void TrayMenuHolder::make_tray_icon() {
  TrayMenuOwner owner;
  owner.build_menu = [](void* self) {
    auto* const holder = static_cast<TrayMenuHolder*>(self);
    VELTrayIcon* const shown = holder->tray_icon();
    const VelFastMutex::Scope scope(holder->_popup_lock);
    holder->build_popup_menu(shown);
  };
  owner.request_exit = [](void* self) {
    static_cast<TrayMenuHolder*>(self)->_exit_task.request();
  };
  owner.window_lost = [](void* self) {
    PostThreadMessageW(static_cast<TrayMenuHolder*>(self)->_main_thread_id,
                       WM_QUIT, 0, 0);
  };
  owner.arg = this;
  std::shared_ptr<VELTrayIcon> icon(new VELTrayIcon(
      this, _default_icon, load_string(VEL_STRING_PRODUCT_NAME), owner));
  // The pipe is up already: its commands may look for the icon.
  const VelFastMutex::Scope scope(_notify_lock);
  _tray_icon = std::move(icon);
}

bool TrayMenuHolder::end_window_thread(DWORD timeout_ms) {
  VELTrayIcon* const icon = tray_icon();
  return icon == nullptr || icon->end_thread(timeout_ms);
}

// The window thread may want the lock while it ends, so the wait for it lies
// outside.
void TrayMenuHolder::remove_tray_icon() {
  std::shared_ptr<VELTrayIcon> icon;
  {
    const VelFastMutex::Scope scope(_notify_lock);
    icon = std::move(_tray_icon);
  }
}

VELTrayIcon* TrayMenuHolder::tray_icon() {
  const VelFastMutex::Scope scope(_notify_lock);
  return _tray_icon.get();
}

VelSessionHolder* TrayMenuHolder::get_session_holder(const wchar_t* config) {
  try {
    const std::wstring key(config != nullptr ? config : L"");
    const VelRWLock::WriteScope scope(_sessions_lock);
    const auto found = _sessions.find(key);
    if (found != _sessions.end()) {
      VelLog_Print(kLogTrace,
                   L"TrayMenuHolder::get_session_holder opened existing "
                   L"session for '%s' ",
                   key.c_str());
      return found->second.get();
    }
    VelLog_Print(kLogNotice,
                 L"TrayMenuHolder::get_session_holder creating session for "
                 L"'%s' ",
                 key.c_str());
    const auto holder =
        std::make_shared<VelSessionHolder>(this, key, &_shutting_down);
    _sessions.emplace(key, holder);
    return holder.get();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

std::uint32_t TrayMenuHolder::need_session(const wchar_t* config) {
  VelLog_Print(
      4,
      L"TrayMenuHolder::need_session('%s') _shutting_down=%i, _sys_shutdown=%i",
      config, _shutting_down.load(), _sys_shutdown.load());
  if (_shutting_down || _sys_shutdown) return VEL_STATUS_SHUTTING_DOWN;
  SessionWaits::Call call(&_session_waits, config,
                          SessionWaits::Purpose::kStart);
  if (call.refused()) return VEL_STATUS_POSSIBLE_DEADLOCK;
  VelSessionHolder* const holder = get_session_holder(config);
  call.looked_up();
  if (holder == nullptr) return VEL_STATUS_OUT_OF_MEMORY;
  if (holder->is_active()) return VEL_STATUS_SESSION_ACTIVE;
  return holder->make_active();
}

std::uint32_t TrayMenuHolder::close_session(const wchar_t* config,
                                            std::uint32_t shutdown_type) {
  if (_shutting_down) return VEL_STATUS_SHUTTING_DOWN;
  const SessionWaits::Call call(&_session_waits, config,
                                SessionWaits::Purpose::kClose);
  if (call.refused()) return VEL_STATUS_POSSIBLE_DEADLOCK;
  return internal_close_session(config, shutdown_type);
}

// Holders in front of one that is refused stay closed.
std::uint32_t TrayMenuHolder::internal_close_session(
    const wchar_t* config, std::uint32_t shutdown_type) {
  VelLog_Print(kLogNotice,
               L"TrayMenuHolder::internal_close_session entered, config='%s' "
               L"shutdown_type=%i",
               config, shutdown_type);
  const VelRWLock::ReadScope scope(_sessions_lock);
  for (const auto& [key, holder] : _sessions) {
    const bool meant = config == nullptr || _wcsicmp(key.c_str(), config) == 0;
    if (meant && !holder->close_session(shutdown_type)) {
      return VEL_STATUS_REFUSED;
    }
  }
  return VEL_STATUS_OK;
}

std::uint32_t TrayMenuHolder::shutdown(std::uint32_t shutdown_type) {
  // Before the next test, and never taken back: a request during a shutdown
  // counts, and so does one that is refused.
  if (shutdown_type == VEL_SHUTDOWN_RESTART) request_restart();
  if (_shutting_down) return VEL_STATUS_SHUTTING_DOWN;
  const SessionWaits::Call call(&_session_waits, nullptr,
                                SessionWaits::Purpose::kClose);
  if (call.refused()) return VEL_STATUS_POSSIBLE_DEADLOCK;
  if (_shutting_down.exchange(true)) return VEL_STATUS_SHUTTING_DOWN;
  set_notify_hint(kRefreshOnly, nullptr);
  try {
    if (internal_close_session(nullptr, shutdown_type) == VEL_STATUS_OK) {
      PostThreadMessageW(_main_thread_id, WM_QUIT, 0, 0);
      return VEL_STATUS_OK;
    }
  } catch (...) {
    take_shutdown_back();
    throw;
  }
  take_shutdown_back();
  return VEL_STATUS_OK;
}

void TrayMenuHolder::take_shutdown_back() {
  _shutting_down = false;
  set_notify_hint(kRefreshOnly, nullptr);
}

void TrayMenuHolder::on_session_startup(IVelSession* session,
                                        const wchar_t* config) {
  const SessionWaits::Event event(&_session_waits, config);
  _plugins.on_session_startup(session, config);
}

void TrayMenuHolder::on_session_shutdown(IVelSession* session) {
  const SessionWaits::Event event(&_session_waits, nullptr);
  _plugins.on_session_shutdown(session);
}

bool TrayMenuHolder::query_session_shutdown(IVelSession* session,
                                            std::uint32_t shutdown_type) {
  const SessionWaits::Event event(&_session_waits, nullptr);
  return _plugins.query_session_shutdown(session, shutdown_type);
}

// The Exit item is always the last one, whatever the plug-ins have done.
void TrayMenuHolder::build_popup_menu(VELTrayIcon* icon) {
  if (_shutting_down || icon == nullptr) return;
  VelLog_Print(kLogTrace, L"TrayMenuHolder::build_popup_menu entered");
  _plugins.on_tray_menu_popup(icon);
  icon->add_menu_item(0, VEL_MENU_ITEM_SEPARATOR, 0, L"-", nullptr, false);
  icon->add_menu_item(0, VEL_MENU_ITEM_PLAIN, kExitItemId,
                      load_string(VEL_STRING_EXIT).c_str(), this, false);
}

void TrayMenuHolder::on_menu_event(std::uint32_t event, std::uint32_t,
                                   std::uintptr_t) {
  if (!_shutting_down && event == VEL_MENU_EVENT_CHOSEN) {
    shutdown(VEL_SHUTDOWN_USER);
  }
}

void TrayMenuHolder::GetPipeName(wchar_t* buffer, std::size_t size) {
  _snwprintf(buffer, size, VEL_GUI_PIPE_FORMAT, _session_id);
}

}  // namespace vel
