#ifndef VEL_TESTS_SESSIONS_PLUGINRIG_H_
#define VEL_TESTS_SESSIONS_PLUGINRIG_H_

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "Rig.h"
#include "fakes/Doors.h"
#include "sessions/IVelSessionHost.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

// A plug-in in the test; each event is noted as "<library>: <event>".
class ProbePlugin : public IVelPlugin {
 public:
  ProbePlugin(Events& events, std::wstring library)
      : _events(events), _library(std::move(library)) {}

  // Called in each event, with its name.
  std::function<void(const std::wstring&)> on_event;
  // The answers.
  bool agrees = true;
  bool ends_broadcasts = false;
  IVelPluginHost* host = nullptr;

  void on_tray_menu_popup(IVelTrayMenu* tray) override;
  void on_session_startup(IVelSession* session, const wchar_t* config) override;
  void on_session_shutdown(IVelSession* session) override;
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t shutdown_type) override;
  bool on_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override;
  void destroy() override;

 private:
  void note(const std::wstring& event);

  Events& _events;
  const std::wstring _library;
};

// A Plugins folder of the test's own, with any number of plug-ins in it.
class PluginRig : public IPluginDoor, public IVelSessionHost {
 public:
  PluginRig();

  // Puts the plug-in `library` into the folder.
  ProbePlugin& add(const std::wstring& library);
  void write_list(const std::string& bytes) {
    directory.Write(L"plugins.txt", bytes);
  }

  IVelPlugin* get_plugin(const wchar_t* library, IVelPluginHost* host,
                         const wchar_t* parameters) override;
  long can_unload_now(const wchar_t* library) override;
  void unloaded(const wchar_t* library) override;

  std::uint32_t need_session(const wchar_t* config) override;
  std::uint32_t close_session(const wchar_t* config,
                              std::uint32_t shutdown_type) override;
  std::uint32_t shutdown(std::uint32_t shutdown_type) override;
  void set_notify_hint(std::uint32_t id, const wchar_t* hint) override;
  void set_notify_icon(std::uint32_t id, HICON icon) override;
  void on_session_startup(IVelSession*, const wchar_t*) override {}
  void on_session_shutdown(IVelSession*) override {}
  bool query_session_shutdown(IVelSession*, std::uint32_t) override {
    return true;
  }

  ScratchDirectory directory;
  Events events;
  // Libraries whose GetVELPlugin gives null.
  std::set<std::wstring> refusing;
  // Called in GetVELPlugin.
  std::function<void(IVelPluginHost*)> on_load;
  // How often VelDllCanUnloadNow still answers no.
  int refused_unloads = 0;
  // Called in close_session.
  std::function<void()> on_close_session;

 private:
  std::map<std::wstring, std::unique_ptr<ProbePlugin>> _plugins;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SESSIONS_PLUGINRIG_H_
