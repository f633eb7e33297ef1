#include "sessions/VelPluginsCtl.h"

#include <windows.h>

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

namespace vel {

namespace {

constexpr DWORD kSlowStartupMs = 100;

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

}  // namespace

VelPluginsCtl::VelPluginsCtl(OwnerCallback* owner)
    : VelPluginsCtl(owner, default_plugins_dir()) {}

VelPluginsCtl::VelPluginsCtl(OwnerCallback* owner, std::wstring plugins_dir)
    : _owner(owner), _plugins_dir(std::move(plugins_dir)) {
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
  for (const PluginLine& line : parse_plugin_list(file.data())) {
    load_plugin(line);
  }
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
  for (const auto& entry : copy_entries()) {
    entry->plugin()->on_tray_menu_popup(tray);
  }
  VelLog_Print(kLogTrace, L"VelPluginsCtl::on_tray_menu_popup leave");
}

void VelPluginsCtl::on_session_startup(IVelSession* session,
                                       const wchar_t* config) {
  VEL_PROFILE_SCOPE("VelPluginsCtl::on_session_startup");
  VelLog_Print(kLogNotice,
               L"VelPluginsCtl::on_session_startup (%x, '%s') enter",
               log_bits(session), config);
  for (const auto& entry : copy_entries()) {
    const DWORD start = GetTickCount();
    entry->plugin()->on_session_startup(session, config);
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
  for (const auto& entry : copy_entries()) {
    entry->plugin()->on_session_shutdown(session);
  }
  VelLog_Print(kLogTrace, L"VelPluginsCtl::on_session_shutdown leave");
}

bool VelPluginsCtl::query_session_shutdown(IVelSession* session,
                                           std::uint32_t shutdown_type) {
  VEL_PROFILE_SCOPE("VelPluginsCtl::query_session_shutdown");
  bool agreed = true;
  for (const auto& entry : copy_entries()) {
    if (entry->plugin()->query_session_shutdown(session, shutdown_type)) {
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
  // Keeps the sender alive to the end.
  const EntryList entries = copy_entries();
  bool sender_found = false;
  for (const auto& entry : entries) {
    if (entry->plugin() == sender) {
      sender_found = true;
      continue;
    }
    if (entry->plugin()->on_broadcast(sender, name, a, b)) {
      VelLog_Print(kLogTrace,
                   L"VelPluginsCtl::on_broadcast (%x, %s, %i, %i): Plug-in "
                   L"'%s' stopped broadcast message",
                   log_bits(sender), name, log_bits(a), log_bits(b),
                   entry->path().c_str());
      return true;
    }
  }
  if (sender_found && sender->on_broadcast(sender, name, a, b)) return true;
  if (_owner != nullptr &&
      std::wcscmp(name, vel_broadcast::kUiSettingsChanged) == 0) {
    _owner->on_settings_changed();
  }
  return false;
}

void VelPluginsCtl::destroy() {
  stop();
  delete this;
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
// destroy() comes back here for the list.
void VelPluginsCtl::stop() {
  std::uint32_t running = 0;
  _stopped.compare_exchange_strong(running, 1);
  EntryList entries;
  {
    const VelRWLock::WriteScope scope(_entries_lock);
    entries.swap(_entries);
  }
  entries.clear();
  _queue.Stop();
}

}  // namespace vel
