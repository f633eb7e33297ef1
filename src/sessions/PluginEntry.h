#ifndef VEL_SESSIONS_PLUGINENTRY_H_
#define VEL_SESSIONS_PLUGINENTRY_H_

#include <cstdint>
#include <string>

#include "sync/VelDllHolder.h"
#include "vel/IVelPlugin.h"

namespace vel {

class VelPluginsCtl;

// A loaded plug-in, and the host that it sees. The operations of
// IVelPluginHost may be called on any thread until destroy() of the plug-in has
// returned.
class PluginEntry : public IVelPluginHost {
 public:
  // Loads the library `path` and lets it make its plug-in. `ctl` isn't owned
  // and outlives the entry. Throws std::runtime_error with "Cannot load plugin
  // dll", "Invalid plugin dll" or "Failed to initialize plugin"; the library is
  // unloaded then.
  PluginEntry(VelPluginsCtl* ctl, const std::wstring& path,
              const std::wstring& parameters);
  // Ends the plug-in, unloads its library (and waits for that), and takes what
  // it has left in the tip and the icon.
  ~PluginEntry() override;
  PluginEntry(const PluginEntry&) = delete;
  PluginEntry& operator=(const PluginEntry&) = delete;

  [[nodiscard]] IVelPlugin* plugin() const { return _plugin; }
  [[nodiscard]] const std::wstring& path() const { return _path; }

  std::uint32_t need_session(const wchar_t* config) override;
  std::uint32_t close_session(const wchar_t* config,
                              std::uint32_t shutdown_type) override;
  std::uint32_t shutdown(std::uint32_t shutdown_type) override;
  void set_notify_hint(const wchar_t* hint) override;
  void set_notify_icon(HICON__* icon) override;
  bool send_broadcast(const wchar_t* name, std::uintptr_t a,
                      std::uintptr_t b) override;
  void post_broadcast(const wchar_t* name, std::uintptr_t a,
                      std::uintptr_t b) override;

 private:
  // Loads the library, which has to be unloaded whatever comes, and gives its
  // export, or throws.
  GetVELPluginFn* load_library();

  VelDllHolder _module;
  const std::wstring _path;
  // Null until GetVELPlugin has returned: a broadcast that is sent from there
  // has no sender.
  IVelPlugin* _plugin = nullptr;
  VelPluginsCtl* const _ctl;
  // Raised with every entry of the process, from 1 on.
  const std::uint32_t _id;
};

}  // namespace vel

#endif  // VEL_SESSIONS_PLUGINENTRY_H_
