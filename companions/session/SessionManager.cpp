#include "session/SessionManager.h"

#include <exception>

#include "common/DebugReport.h"
#include "session/AnchorProcess.h"
#include "session/ShellCommand.h"

namespace velul {
namespace {

using companion::debug_report;
using companion::SrwLock;

constexpr wchar_t kLibrary[] = L"session";
// How long the programs of a session have for closing their windows.
constexpr DWORD kCloseTimeout = 2000;  // ms
constexpr DWORD kClosePoll = 50;       // ms
// A status of the anchor up to this is an end without a fault.
constexpr DWORD kLastGoodStatus = 1;

const wchar_t* or_empty(const wchar_t* text) {
  return text ? text : L"";
}

}  // namespace

void SessionManager::start(const VelSessionStart* parameters) {
  const SrwLock::Scope starting(_start_lock);
  if (!wait_until_startable()) return;
  try {
    const RunPtr run = make_run(parameters ? parameters->config : nullptr);
    if (!run || !ensure_watcher()) return;
    const SrwLock::Scope scope(_lock);
    _run = run;
    _state = VEL_SESSION_RUNNING;
    SetEvent(_wake.get());
  } catch (const std::exception&) {
    debug_report(kLibrary, L"the start", ERROR_NOT_ENOUGH_MEMORY);
  }
}

// A session that is ending has to have gone before the next one can come.
bool SessionManager::wait_until_startable() {
  SrwLock::Scope scope(_lock);
  while (_ending) scope.wait(&_ended);
  return _state == VEL_SESSION_STOPPED;
}

SessionManager::RunPtr SessionManager::make_run(const wchar_t* config) {
  auto run = std::make_shared<Run>();
  run->job = SessionJob::create(config);
  if (!run->job) {
    debug_report(kLibrary, L"the job", GetLastError());
    return nullptr;
  }
  if (const DWORD error = start_anchor(*run->job, &run->anchor)) {
    debug_report(kLibrary, L"the anchor", error);
    return nullptr;
  }
  return run;
}

bool SessionManager::ensure_watcher() {
  if (_watcher) return true;
  _wake.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (_wake) {
    _watcher.reset(CreateThread(nullptr, 0, &watcher_entry, this, 0, nullptr));
  }
  if (!_watcher) debug_report(kLibrary, L"the watcher", GetLastError());
  return static_cast<bool>(_watcher);
}

void SessionManager::shutdown() {
  const SrwLock::Scope scope(_lock);
  if (_state == VEL_SESSION_BROKEN) _state = VEL_SESSION_STOPPED;
  if (_state != VEL_SESSION_RUNNING) return;
  _ending = true;
  SetEvent(_wake.get());
}

std::uint32_t SessionManager::start_app(const wchar_t* verb,
                                        const wchar_t* file,
                                        const wchar_t* parameters,
                                        const wchar_t* directory,
                                        const wchar_t* class_name) {
  RunPtr run;
  {
    const SrwLock::Scope scope(_lock);
    if (!_ending) run = _run;
  }
  if (!run) return ERROR_NOT_READY;
  try {
    const ShellCommand command = resolve_shell_command(
        {or_empty(verb), or_empty(file), or_empty(parameters),
         or_empty(directory), or_empty(class_name)});
    if (command.error != ERROR_SUCCESS) return command.error;
    return run->job->start_process({command.command_line, command.directory},
                                   nullptr);
  } catch (const std::exception&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

std::uint32_t SessionManager::get_state() {
  const SrwLock::Scope scope(_lock);
  return _state;
}

void SessionManager::add_callback(IVelSessionCallback* callback) {
  try {
    _callbacks.add(callback);
  } catch (const std::exception&) {
    debug_report(kLibrary, L"adding a callback", ERROR_NOT_ENOUGH_MEMORY);
  }
}

void SessionManager::remove_callback(IVelSessionCallback* callback) {
  _callbacks.remove(callback);
}

void SessionManager::release() {
  {
    const SrwLock::Scope scope(_lock);
    _released = true;
    if (_wake) SetEvent(_wake.get());
  }
  if (_watcher) WaitForSingleObject(_watcher.get(), INFINITE);
  delete this;
}

DWORD WINAPI SessionManager::watcher_entry(void* self) {
  static_cast<SessionManager*>(self)->watch();
  return 0;
}

void SessionManager::watch() {
  for (;;) {
    RunPtr run;
    bool ending = false;
    {
      const SrwLock::Scope scope(_lock);
      if (_released) break;
      run = _run;
      ending = _ending;
    }
    if (ending) {
      end_in_order(*run);
      continue;
    }
    const HANDLE handles[] = {_wake.get(), run ? run->anchor.get() : nullptr};
    const DWORD event =
        WaitForMultipleObjects(run ? 2 : 1, handles, FALSE, INFINITE);
    if (event == WAIT_OBJECT_0 + 1) on_anchor_end(*run);
  }
  const SrwLock::Scope scope(_lock);
  if (_run) _run->job->terminate(0);
}

void SessionManager::end_in_order(const Run& run) {
  const DWORD begin = GetTickCount();
  if (run.job->close_windows() > 0) {
    // The anchor is the last one that is left.
    while (run.job->active_processes() > 1 && !is_released() &&
           GetTickCount() - begin < kCloseTimeout) {
      Sleep(kClosePoll);
    }
  }
  run.job->terminate(0);
  set_ended(VEL_SESSION_STOPPED);
}

void SessionManager::on_anchor_end(const Run& run) {
  DWORD status = 0;
  GetExitCodeProcess(run.anchor.get(), &status);
  // First, so that no application is started among those that end now.
  set_ended(status <= kLastGoodStatus ? VEL_SESSION_STOPPED
                                      : VEL_SESSION_BROKEN);
  run.job->terminate(status);
  try {
    _callbacks.notify(status);
  } catch (const std::exception&) {
    debug_report(kLibrary, L"telling the end", ERROR_NOT_ENOUGH_MEMORY);
  }
}

bool SessionManager::is_released() {
  const SrwLock::Scope scope(_lock);
  return _released;
}

void SessionManager::set_ended(VelSessionState state) {
  const SrwLock::Scope scope(_lock);
  // A shutdown that has come after the fault already answers it.
  _state = _ending ? VEL_SESSION_STOPPED : state;
  _ending = false;
  _run.reset();
  WakeAllConditionVariable(&_ended);
}

}  // namespace velul
