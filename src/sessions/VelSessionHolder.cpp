#include "sessions/VelSessionHolder.h"

#include <windows.h>
#include <ntstatus.h>

#include <utility>

#include "log/VelLog.h"
#include "sessions/SessionEnding.h"
#include "sessions/UserLibrary.h"
#include "sync/ProcAddress.h"
#include "sync/Trap.h"

namespace vel {

namespace {

constexpr char kLogSource[] = ".\\VelSessionHolder";
constexpr DWORD kPollMs = 100;
constexpr unsigned kPollsForManagerEnd = 50;

// In polls. A manager that was ended from outside has been so for a reason,
// and one that has failed may fail again at once.
unsigned restart_delay(std::uint32_t status) {
  switch (status) {
    case 0:
    case 1:
      return 0;
    case static_cast<std::uint32_t>(STATUS_SYSTEM_SHUTDOWN):
    case static_cast<std::uint32_t>(STATUS_CONTROL_C_EXIT):
    case static_cast<std::uint32_t>(DBG_TERMINATE_PROCESS):
      return 60;
    default:
      return 30;
  }
}

// The record is on the disk before its level ends the process.
[[noreturn]] void trap_without_library(bool reduced, DWORD error) {
  VelLog_Print(kLogFatal,
               L"VelSessionHolder::create_session: no session library in '%s', "
               L"error %u",
               vel_ul_path(reduced).c_str(), error);
  vel_trap();
}

}  // namespace

VelSessionHolder::VelSessionHolder(IVelSessionHost* host, std::wstring config,
                                   const std::atomic<bool>* shutting_down)
    : _host(host), _config(std::move(config)), _shutting_down(shutting_down) {}

// The restart task goes before the session, without the session's lock, which
// it may need for its last step: it could start a session anew otherwise. From
// here on it gives up when it can, and MgrShutdown is ignored.
VelSessionHolder::~VelSessionHolder() {
  _in_stopping = true;
  // A MgrShutdown that came just before may still be making it.
  if (const auto task = restart_task()) task->finish();
  if (_session != nullptr) end_session();
  _restart_task.reset();
}

std::uint32_t VelSessionHolder::make_active() {
  const VelFastMutex::Scope scope(_session_lock);
  if (is_shutting_down()) return VEL_STATUS_SHUTTING_DOWN;
  ensure_session_active();
  return VEL_STATUS_OK;
}

bool VelSessionHolder::is_shutting_down() const {
  return _shutting_down != nullptr && *_shutting_down;
}

bool VelSessionHolder::is_active() {
  const VelFastMutex::Scope scope(_session_lock);
  if (_in_stopping) return true;
  IVelSession* const session = _session;
  return session != nullptr && session->get_state() == VEL_SESSION_RUNNING;
}

bool VelSessionHolder::close_session(std::uint32_t shutdown_type) {
  const VelFastMutex::Scope scope(_session_lock);
  if (_host != nullptr &&
      !_host->query_session_shutdown(_session, shutdown_type)) {
    return false;
  }
  stop_session();
  return true;
}

std::uint32_t VelSessionHolder::start_app(const std::wstring& verb,
                                          const std::wstring& file,
                                          const std::wstring& parameters,
                                          const std::wstring& directory,
                                          const std::wstring& class_name) {
  VelLog_Print(kLogNotice,
               L"VelSessionHolder::start_app('%s', '%s', '%s', '%s') - %u\n",
               verb.c_str(), file.c_str(), parameters.c_str(),
               directory.c_str(), GetTickCount());
  const VelFastMutex::Scope scope(_session_lock);
  if (is_shutting_down()) return VEL_STATUS_SHUTTING_DOWN;
  ensure_session_active();
  return _session.load()->start_app(verb.c_str(), file.c_str(),
                                    parameters.c_str(), directory.c_str(),
                                    class_name.c_str());
}

void VelSessionHolder::ensure_session_active() {
  if (_session == nullptr) create_session();
  IVelSession* const session = _session;
  const std::uint32_t state = session->get_state();
  if (state == VEL_SESSION_BROKEN) {
    VelLog_Print(kLogNotice,
                 L"VelSessionHolder::ensure_session_active Shutdown...");
    session->shutdown();
  }
  if (state == VEL_SESSION_STOPPED || state == VEL_SESSION_BROKEN) {
    VelLog_Print(kLogNotice,
                 L"VelSessionHolder::ensure_session_active Startup...");
    const VelSessionStart parameters = {
        _config.empty() ? nullptr : _config.c_str(), 0};
    session->start(&parameters);
  }
}

// The plug-ins get the manager before it runs, so that each can prepare its
// part.
void VelSessionHolder::create_session() {
  const bool reduced = is_min_mode(_config.c_str());
  const HMODULE module = reduced ? load_vel_ul_min() : load_vel_ul();
  if (module == nullptr) trap_without_library(reduced, GetLastError());
  _module = ModuleRef(module);
  auto* const create =
      proc_address<VelCreateSessionFn*>(module, VEL_CREATE_SESSION_EXPORT);
  if (create == nullptr) trap_without_library(reduced, GetLastError());
  IVelSession* const session = create();
  if (session == nullptr) vel_trap();
  _session = session;
  session->add_callback(this);
  if (_host != nullptr) _host->on_session_startup(session, _config.c_str());
}

void VelSessionHolder::stop_session() {
  if (_in_stopping || _session == nullptr) return;
  _in_stopping = true;
  try {
    end_session();
  } catch (...) {
    _in_stopping = false;
    throw;
  }
  _in_stopping = false;
}

// Waits without a limit: there is no forced end of a session.
void VelSessionHolder::end_session() {
  IVelSession* const session = _session;
  if (session->get_state() == VEL_SESSION_RUNNING) {
    session->shutdown();
    while (session->get_state() == VEL_SESSION_RUNNING) Sleep(kPollMs);
  }
  if (_host != nullptr) _host->on_session_shutdown(session);
  session->remove_callback(this);
  session->release();
  _session = nullptr;
}

void VelSessionHolder::MgrShutdown(std::uint32_t status) {
  VelLog_Print(kLogNotice,
               L"VelSessionHolder::MgrShutdown(0x%x) _in_stopping=%i", status,
               static_cast<int>(_in_stopping));
  if (_in_stopping) return;
  const VelFastMutex::Scope scope(_restart_lock);
  // The destructor sets it ahead of its own look at the task.
  if (_in_stopping) return;
  try {
    if (!_restart_task) _restart_task = std::make_shared<RestartTask>(this);
  } catch (const std::bad_alloc&) {
    // No exception goes to the library. The next use brings the session back.
    VEL_LOG_LINE();
    return;
  }
  if (!_restart_task->notify(status)) VEL_LOG_WIN32_CALL();
}

void VelSessionHolder::async_mgr_restart(std::uint32_t status) {
  wait_for_manager_end();
  if (!wait_for_restart(status)) return;
  VelLog_Print(kLogNotice,
               L"VelSessionHolder::async_mgr_restart(0x%x) - need_session()",
               status);
  const std::shared_ptr<RestartTask> task = restart_task();
  const VelFastMutex::Scope scope(_session_lock);
  // The manager may die again before it is seen running here.
  task->cover_notices();
  // A close had the lock until now: what it has ended stays so.
  if (_in_stopping || _session == nullptr) return;
  ensure_session_active();
}

std::shared_ptr<RestartTask> VelSessionHolder::restart_task() {
  const VelFastMutex::Scope scope(_restart_lock);
  return _restart_task;
}

void VelSessionHolder::wait_for_manager_end() {
  for (unsigned polls = 0; polls < kPollsForManagerEnd; ++polls) {
    if (_in_stopping || !is_active()) return;
    Sleep(kPollMs);
  }
}

// The delay is used up before session_ending is looked at: a restart never
// comes sooner, also after a logoff that was called off.
bool VelSessionHolder::wait_for_restart(std::uint32_t status) {
  const std::shared_ptr<RestartTask> task = restart_task();
  for (unsigned delay = restart_delay(status);; Sleep(kPollMs)) {
    // A death after this look is that of a later session.
    task->cover_notices();
    if (_in_stopping || _session == nullptr) return false;
    if (delay > 0) {
      --delay;
    } else if (!session_ending) {
      return true;
    }
  }
}

}  // namespace vel
