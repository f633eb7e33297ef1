#ifndef VEL_SESSIONS_PLUGINENTRY_H_
#define VEL_SESSIONS_PLUGINENTRY_H_

#include <atomic>
#include <cstdint>
#include <string>

#include "sessions/PluginMenu.h"
#include "sync/VelDllHolder.h"
#include "vel/IVelPlugin.h"

namespace vel {

class VelPluginsCtl;

// A loaded plug-in, and the host that it sees. The operations of
// IVelPluginHost may be called on any thread until destroy() of the plug-in has
// returned.
//
// Every event of the plug-in is a Call, and so is a broadcast that it sends:
// the library isn't left meanwhile. close() lets no further one begin, and once
// the entry is idle end() ends the plug-in.
class PluginEntry : public IVelPluginHost {
 public:
  // A call into the plug-in, for the length of the scope. False when the entry
  // is closed: the plug-in must not be called then.
  class [[nodiscard]] Call {
   public:
    [[nodiscard]] explicit Call(PluginEntry& entry)
        : _entry(entry.enter() ? &entry : nullptr) {}
    ~Call() {
      if (_entry != nullptr) --_entry->_calls;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    explicit operator bool() const { return _entry != nullptr; }
    IVelPlugin* operator->() const { return _entry->plugin(); }

   private:
    PluginEntry* const _entry;
  };

  // Loads the library `path` and lets it make its plug-in. `ctl` isn't owned
  // and outlives the entry. Throws std::runtime_error with "Cannot load plugin
  // dll", "Invalid plugin dll" or "Failed to initialize plugin"; the library is
  // unloaded then.
  PluginEntry(VelPluginsCtl* ctl, const std::wstring& path,
              const std::wstring& parameters);
  // Calls end().
  ~PluginEntry() override;
  PluginEntry(const PluginEntry&) = delete;
  PluginEntry& operator=(const PluginEntry&) = delete;

  // Null after end().
  [[nodiscard]] IVelPlugin* plugin() const { return _plugin; }
  [[nodiscard]] const std::wstring& path() const { return _path; }
  // The menu for the plug-in's on_tray_menu_popup.
  [[nodiscard]] PluginMenu& menu() { return _menu; }

  // No call begins from now on.
  void close() { _calls |= kClosed; }
  // No call is under way. Nothing changes that after close().
  [[nodiscard]] bool is_idle() const { return (_calls & ~kClosed) == 0; }
  // Ends the plug-in, unloads its library (and waits for that, dispatching
  // messages), and takes what it has left in the tip and the icon. Not while a
  // call is under way. Does nothing the second time.
  void end();

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
  static constexpr std::uint32_t kClosed = 0x80000000;

  // Counts a call unless the entry is closed.
  bool enter();
  // Loads the library, which has to be unloaded whatever comes, and gives its
  // export, or throws.
  GetVELPluginFn* load_library();
  // Ends the plug-in, if there is one, and unloads the library.
  void take_back();
  std::uint32_t noted(const wchar_t* call, std::uint32_t status) const;

  VelDllHolder _module;
  const std::wstring _path;
  // Null until GetVELPlugin has returned: a broadcast that is sent from there
  // has no sender. Read by threads of the plug-in meanwhile.
  std::atomic<IVelPlugin*> _plugin{nullptr};
  VelPluginsCtl* const _ctl;
  // Raised with every entry of the process, from 1 on.
  const std::uint32_t _id;
  // How many calls are under way, and kClosed.
  std::atomic<std::uint32_t> _calls{0};
  PluginMenu _menu{this};
};

}  // namespace vel

#endif  // VEL_SESSIONS_PLUGINENTRY_H_
