#include "sessions/VelPluginsCtl.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <stdexcept>
#include <utility>

#include "foundation/Environment.h"
#include "foundation/ModuleFile.h"
#include "foundation/PathParts.h"
#include "log/VelLog.h"
#include "log/VelProfileHolder.h"
#include "proptree/FileContents.h"
#include "sessions/PluginEntry.h"
#include "sessions/PluginList.h"
#include "sync/MessagePump.h"

namespace vel {

namespace {

constexpr DWORD kSlowStartupMs = 100;
constexpr ULONGLONG kPatienceMs = 10000;
constexpr DWORD kPollMs = 15;

std::wstring default_plugins_dir() {
  return directory_of(module_path(nullptr)) + L"Plugins";
}

std::wstring fold_ascii(std::wstring text) {
  for (wchar_t& c : text) {
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  }
  return text;
}

// Lets the system find the libraries that a plug-in depends on.
void add_to_path(const std::wstring& directory) {
  const std::wstring part = L";" + directory + L";";
  const std::wstring path = get_env(L"PATH");
  if (fold_ascii(path).find(fold_ascii(part)) != std::wstring::npos) return;
  set_env(L"PATH", path + part, true);
}

// Pointers and words as the log shows them: the low 32 bits.
unsigned log_bits(const void* pointer) {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pointer));
}
int log_bits(std::uintptr_t value) {
  return static_cast<int>(value);
}

class BroadcastTask final : public IVelWorkItem {
 public:
  BroadcastTask(VelPluginsCtl* ctl, IVelPlugin* sender, const wchar_t* name,
                std::uintptr_t a, std::uintptr_t b)
      : _ctl(ctl), _sender(sender), _name(_wcsdup(name)), _a(a), _b(b) {
    if (_name == nullptr) throw std::bad_alloc();
  }
  ~BroadcastTask() { std::free(_name); }
  BroadcastTask(const BroadcastTask&) = delete;
  BroadcastTask& operator=(const BroadcastTask&) = delete;

  void run_and_free() override {
    _ctl->on_broadcast(_sender, _name, _a, _b);
    delete this;
  }

 private:
  VelPluginsCtl* const _ctl;
  IVelPlugin* const _sender;
  wchar_t* const _name;
  const std::uintptr_t _a;
  const std::uintptr_t _b;
};

template <typename Entries>
void wait_for_calls(const Entries& entries) {
  const auto is_idle = [](const auto& entry) { return entry->is_idle(); };
  const ULONGLONG end = GetTickCount64() + kPatienceMs;
  MessagePump pump;
  while (!std::all_of(entries.begin(), entries.end(), is_idle) &&
         GetTickCount64() < end) {
    MsgWaitForMultipleObjects(0, nullptr, FALSE, kPollMs, QS_ALLINPUT);
    pump.dispatch_waiting();
  }
}

}  // namespace

// An event on its way through the plug-ins, in the order of the list as it was
// at the beginning.
class [[nodiscard]] VelPluginsCtl::Event {
 public:
  [[nodiscard]] explicit Event(VelPluginsCtl* ctl)
      : _ctl(ctl),
        _on_main(GetCurrentThreadId() == ctl->_main_thread_id),
        _entries(ctl->copy_entries()) {
    if (_on_main) ++_ctl->_main_events;
  }
  ~Event() {
    if (_on_main && --_ctl->_main_events == 0 && _ctl->_stop_is_due) {
      _ctl->stop();
    }
  }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  EntryList::const_iterator begin() const { return _entries.begin(); }
  EntryList::const_iterator end() const { return _entries.end(); }

 private:
  VelPluginsCtl* const _ctl;
  const bool _on_main;
  const EntryList _entries;
};

VelPluginsCtl::VelPluginsCtl(OwnerCallback* owner)
    : VelPluginsCtl(owner, default_plugins_dir()) {}

VelPluginsCtl::VelPluginsCtl(OwnerCallback* owner, std::wstring plugins_dir)
    : _owner(owner),
      _plugins_dir(std::move(plugins_dir)),
      _main_thread_id(GetCurrentThreadId()) {
  add_to_path(_plugins_dir);
}

VelPluginsCtl::~VelPluginsCtl() {
  stop();
}

void VelPluginsCtl::load_plugins(IVelSessionHost* host) {
  VEL_PROFILE_SCOPE("VelPluginsCtl::load_plugins");
  std::uint32_t unloaded = 1;
  _stopped.compare_exchange_strong(unloaded, 0);
  _host = host;
  const FileContents file(_plugins_dir + L"\\plugins.txt", true);
  // A library can end the process: what led to it is in the file then.
  VelLog_TryFlushBuffer();
  for (const PluginLine& line : parse_plugin_list(file.data())) {
    load_plugin(line);
  }
  VelLog_TryFlushBuffer();
}

void VelPluginsCtl::load_plugin(const PluginLine& line) {
  try {
    auto entry =
        std::make_shared<PluginEntry>(this, _plugins_dir + L'\\' + line.file,
                                      expand_env(line.parameters, false));
    const VelRWLock::WriteScope scope(_entries_lock);
    _entries.push_back(std::move(entry));
  } catch (const std::exception& error) {
    VelLog_Print(kLogWarning,
                 L"VelPluginsCtl::load_plugins: dll module '%s' failed: '%S'",
                 line.file.c_str(), error.what());
  }
}

VelPluginsCtl::EntryList VelPluginsCtl::copy_entries() {
  const VelRWLock::ReadScope scope(_entries_lock);
  return _entries;
}

void VelPluginsCtl::on_tray_menu_popup(IVelTrayMenu* tray) {
  VelLog_Print(kLogNotice, L"VelPluginsCtl::on_tray_menu_popup enter");
  for (const auto& entry : Event(this)) {
    const PluginEntry::Call call(*entry);
    if (!call) continue;
    entry->menu().begin(tray);
    call->on_tray_menu_popup(&entry->menu());
  }
  VelLog_Print(kLogTrace, L"VelPluginsCtl::on_tray_menu_popup leave");
}

void VelPluginsCtl::on_session_startup(IVelSession* session,
                                       const wchar_t* config) {
  VEL_PROFILE_SCOPE("VelPluginsCtl::on_session_startup");
  VelLog_Print(kLogNotice,
               L"VelPluginsCtl::on_session_startup (%x, '%s') enter",
               log_bits(session), config);
  for (const auto& entry : Event(this)) {
    const PluginEntry::Call call(*entry);
    if (!call) continue;
    const DWORD start = GetTickCount();
    call->on_session_startup(session, config);
    const DWORD taken = GetTickCount() - start;
    VelLog_Print(taken < kSlowStartupMs ? kLogTrace : kLogWarning,
                 L"VelPluginsCtl::on_session_startup %u msec for '%s'", taken,
                 entry->path().c_str());
  }
  VelLog_Print(kLogTrace, L"VelPluginsCtl::on_session_startup leave");
}

void VelPluginsCtl::on_session_shutdown(IVelSession* session) {
  VEL_PROFILE_SCOPE("VelPluginsCtl::on_session_shutdown");
  VelLog_Print(kLogNotice, L"VelPluginsCtl::on_session_shutdown (%x) enter",
               log_bits(session));
  for (const auto& entry : Event(this)) {
    const PluginEntry::Call call(*entry);
    if (call) call->on_session_shutdown(session);
  }
  VelLog_Print(kLogTrace, L"VelPluginsCtl::on_session_shutdown leave");
}

bool VelPluginsCtl::query_session_shutdown(IVelSession* session,
                                           std::uint32_t shutdown_type) {
  VEL_PROFILE_SCOPE("VelPluginsCtl::query_session_shutdown");
  bool agreed = true;
  for (const auto& entry : Event(this)) {
    const PluginEntry::Call call(*entry);
    if (!call || call->query_session_shutdown(session, shutdown_type)) {
      continue;
    }
    VelLog_Print(kLogWarning,
                 L"VelPluginsCtl::query_session_shutdown (%x): Plug-in '%s' "
                 L"rejected session shutdown",
                 log_bits(session), entry->path().c_str());
    agreed = false;
  }
  return agreed;
}

bool VelPluginsCtl::on_broadcast(IVelPlugin* sender, const wchar_t* name,
                                 std::uintptr_t a, std::uintptr_t b) {
  if (_stopped != 0) return false;
  const Event event(this);
  PluginEntry* senders_own = nullptr;
  for (const auto& entry : event) {
    if (entry->plugin() == sender) {
      senders_own = entry.get();
      continue;
    }
    const PluginEntry::Call call(*entry);
    if (call && call->on_broadcast(sender, name, a, b)) {
      VelLog_Print(kLogTrace,
                   L"VelPluginsCtl::on_broadcast (%x, %s, %i, %i): Plug-in "
                   L"'%s' stopped broadcast message",
                   log_bits(sender), name, log_bits(a), log_bits(b),
                   entry->path().c_str());
      return true;
    }
  }
  if (senders_own != nullptr) {
    const PluginEntry::Call call(*senders_own);
    if (call && call->on_broadcast(sender, name, a, b)) return true;
  }
  if (_owner != nullptr &&
      std::wcscmp(name, vel_broadcast::kUiSettingsChanged) == 0) {
    _owner->on_settings_changed();
  }
  return false;
}

void VelPluginsCtl::destroy() {
  if (stop()) delete this;
}

bool VelPluginsCtl::send_broadcast(IVelPlugin* sender, const wchar_t* name,
                                   std::uintptr_t a, std::uintptr_t b) {
  if (_stopped != 0) return true;
  return on_broadcast(sender, name, a, b);
}

void VelPluginsCtl::post_broadcast(IVelPlugin* sender, const wchar_t* name,
                                   std::uintptr_t a, std::uintptr_t b) {
  if (_stopped != 0) return;
  auto task = std::make_unique<BroadcastTask>(this, sender, name, a, b);
  _queue.Post(task.get());
  static_cast<void>(task.release());
}

// The plug-ins end outside the lock: one that wants to close a session from its
// destroy() comes back here for the list. The calls are polled, since one that
// has been counted out touches nothing here any more.
bool VelPluginsCtl::stop() {
  std::uint32_t running = 0;
  _stopped.compare_exchange_strong(running, 1);
  _stop_is_due = _main_events != 0;
  if (_stop_is_due) return true;
  EntryList entries;
  {
    const VelRWLock::WriteScope scope(_entries_lock);
    entries.swap(_entries);
  }
  for (const auto& entry : entries) entry->close();
  wait_for_calls(entries);
  for (const auto& entry : entries) end_plugin(entry);
  _ended.splice(_ended.end(), entries);
  if (!_gave_up) _queue.Stop();
  return !_gave_up;
}

void VelPluginsCtl::end_plugin(const std::shared_ptr<PluginEntry>& entry) {
  if (entry->is_idle()) return entry->end();
  VelLog_Print(kLogError,
               L"VelPluginsCtl::stop: Plug-in '%s' is still in an event and is "
               L"given up",
               entry->path().c_str());
  // It is the plug-in's host for as long as the process lives.
  static_cast<void>(new (std::nothrow) std::shared_ptr<PluginEntry>(entry));
  _gave_up = true;
}

}  // namespace vel
