#include "sessions/PluginEntry.h"

#include <windows.h>

#include <atomic>
#include <new>
#include <stdexcept>
#include <type_traits>

#include "foundation/PathParts.h"
#include "log/VelLog.h"
#include "sessions/IVelSessionHost.h"
#include "sessions/VelPluginsCtl.h"
#include "sync/ProcAddress.h"

namespace vel {

namespace {

std::uint32_t next_id() {
  static constinit std::atomic<std::uint32_t> last_id{0};
  return ++last_id;
}

// Around what a plug-in calls: no exception crosses the border.
template <typename Call>
std::invoke_result_t<Call> guarded(
    Call call, std::invoke_result_t<Call> when_out_of_memory) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return when_out_of_memory;
  }
}

}  // namespace

PluginEntry::PluginEntry(VelPluginsCtl* ctl, const std::wstring& path,
                         const std::wstring& parameters)
    : _module(path.c_str()), _path(path), _ctl(ctl), _id(next_id()) {
  try {
    const DWORD start = GetTickCount();
    GetVELPluginFn* const get_plugin = load_library();
    _plugin = get_plugin(this, parameters.c_str());
    if (_plugin == nullptr) {
      throw std::runtime_error("Failed to initialize plugin");
    }
    VelLog_Print(kLogNotice, L"Initialization '%s' - %u msec",
                 file_name_of(_path).c_str(), GetTickCount() - start);
  } catch (const std::exception& error) {
    // An exception of the library's own goes with the library.
    const std::runtime_error kept(error.what());
    take_back();
    throw kept;
  } catch (...) {
    take_back();
    throw;
  }
}

PluginEntry::~PluginEntry() {
  end();
}

void PluginEntry::take_back() {
  if (IVelPlugin* const plugin = _plugin.exchange(nullptr)) plugin->destroy();
  _module.unload();
}

void PluginEntry::end() {
  if (_plugin == nullptr) return;
  take_back();
  _ctl->host()->set_notify_hint(_id, nullptr);
  _ctl->host()->set_notify_icon(_id, nullptr);
  _module.wait();
}

bool PluginEntry::enter() {
  std::uint32_t calls = _calls;
  do {
    if ((calls & kClosed) != 0) return false;
  } while (!_calls.compare_exchange_weak(calls, calls + 1));
  return true;
}

GetVELPluginFn* PluginEntry::load_library() {
  const HMODULE module = _module.load();
  if (module == nullptr) throw std::runtime_error("Cannot load plugin dll");
  auto* const get_plugin =
      proc_address<GetVELPluginFn*>(module, VEL_GET_PLUGIN_EXPORT);
  if (get_plugin == nullptr) throw std::runtime_error("Invalid plugin dll");
  return get_plugin;
}

// Names the plug-in that would have waited for itself.
std::uint32_t PluginEntry::noted(const wchar_t* call,
                                 std::uint32_t status) const {
  if (status == VEL_STATUS_POSSIBLE_DEADLOCK) {
    VelLog_Print(kLogError,
                 L"VelPluginsCtl::PluginEntry::%s: dll='%s' would wait for its "
                 L"own session event, 0x%x",
                 call, file_name_of(_path).c_str(), status);
  }
  return status;
}

std::uint32_t PluginEntry::need_session(const wchar_t* config) {
  return noted(L"need_session",
               guarded([&] { return _ctl->host()->need_session(config); },
                       VEL_STATUS_OUT_OF_MEMORY));
}

std::uint32_t PluginEntry::close_session(const wchar_t* config,
                                         std::uint32_t shutdown_type) {
  return noted(
      L"close_session",
      guarded(
          [&] { return _ctl->host()->close_session(config, shutdown_type); },
          VEL_STATUS_OUT_OF_MEMORY));
}

std::uint32_t PluginEntry::shutdown(std::uint32_t shutdown_type) {
  return noted(L"shutdown",
               guarded([&] { return _ctl->host()->shutdown(shutdown_type); },
                       VEL_STATUS_OUT_OF_MEMORY));
}

void PluginEntry::set_notify_hint(const wchar_t* hint) {
  _ctl->host()->set_notify_hint(_id, hint);
}

void PluginEntry::set_notify_icon(HICON icon) {
  _ctl->host()->set_notify_icon(_id, icon);
}

bool PluginEntry::send_broadcast(const wchar_t* name, std::uintptr_t a,
                                 std::uintptr_t b) {
  return guarded(
      [&] {
        VelLog_Print(kLogTrace,
                     L"VelPluginsCtl::PluginEntry::send_broadcast: dll='%s' "
                     L"'%s' %i %i ",
                     file_name_of(_path).c_str(), name, static_cast<int>(a),
                     static_cast<int>(b));
        const Call call(*this);
        return !call || _ctl->send_broadcast(_plugin, name, a, b);
      },
      false);
}

void PluginEntry::post_broadcast(const wchar_t* name, std::uintptr_t a,
                                 std::uintptr_t b) {
  guarded(
      [&] {
        VelLog_Print(kLogTrace,
                     L"VelPluginsCtl::PluginEntry::post_broadcast: dll='%s' "
                     L"'%s' %i %i ",
                     file_name_of(_path).c_str(), name, static_cast<int>(a),
                     static_cast<int>(b));
        _ctl->post_broadcast(_plugin, name, a, b);
        return true;
      },
      false);
}

}  // namespace vel
