#ifndef VEL_SESSIONS_VELPLUGINSCTL_H_
#define VEL_SESSIONS_VELPLUGINSCTL_H_

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "channels/SerialQueue.h"
#include "sessions/IVelSessionHost.h"
#include "sessions/OwnerCallback.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelRWLock.h"
#include "vel/IVelPlugin.h"

namespace vel {

class PluginEntry;
struct PluginLine;

// Loads the plug-ins and is the switchboard among them. To the tray it is one
// plug-in: each operation of IVelPlugin goes to all of them, in the order of
// loading.
//
// The constructor, load_plugins, stop and the destructor are for the main
// thread; everything else for any thread, at the same time. No lock is held
// during a call into a plug-in, and a plug-in lives until the events that it is
// in have ended, also through a stop; the choice of a menu item and a broadcast
// that the plug-in sends count as such. An exception of a plug-in goes up to
// the caller of the event.
class VelPluginsCtl : public IVelPlugin {
 public:
  // Loads nothing. Appends the folder of the plug-ins, beside the program, to
  // this process's PATH, for what their libraries need. `owner` isn't owned,
  // outlives the object and may be null.
  explicit VelPluginsCtl(OwnerCallback* owner);
  // The same with another folder, without a backslash at its end.
  VelPluginsCtl(OwnerCallback* owner, std::wstring plugins_dir);

  // Loads what plugins.txt names. A plug-in that fails is logged and left out.
  // `host` isn't owned and outlives the object. Once in an object's life.
  void load_plugins(IVelSessionHost* host);

  // IVelPlugin. on_broadcast tells all but `sender`, which gets the broadcast
  // last, until one ends it: true then. False when the host is stopped.
  void on_tray_menu_popup(IVelTrayMenu* tray) override;
  void on_session_startup(IVelSession* session, const wchar_t* config) override;
  void on_session_shutdown(IVelSession* session) override;
  // Asks all, whatever the others have said. False when one refuses.
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t shutdown_type) override;
  bool on_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override;
  // Stops, and deletes the object unless a plug-in was given up: only for one
  // on the heap.
  void destroy() override;

  // Before load_plugins and after stop there are no broadcasts: a sent one
  // counts as ended by somebody (true), a posted one is dropped.
  bool send_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                      std::uintptr_t b);
  // `name` is copied; `a` and `b` go as they are.
  void post_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                      std::uintptr_t b);

  // Refuses broadcasts, lets no event begin, waits for those under way,
  // dispatching messages, and destroys the plug-ins on this thread, in the
  // order of loading; then runs the queue out.
  //
  // A plug-in that is still in an event after 10 s is given up, which is
  // logged: it isn't destroyed, its library stays, and the queue isn't waited
  // for. False then, and the object has to stay until the process ends, because
  // that event may come back to it.
  //
  // From within an event on the main thread it only refuses broadcasts; the
  // rest is done at the end of the event.
  bool stop();

  // Null before load_plugins.
  [[nodiscard]] IVelSessionHost* host() const { return _host; }

  virtual ~VelPluginsCtl();

 private:
  using EntryList = std::list<std::shared_ptr<PluginEntry>>;
  class Event;

  void load_plugin(const PluginLine& line);
  EntryList copy_entries();
  void end_plugin(const std::shared_ptr<PluginEntry>& entry);

  // Constant after construction.
  OwnerCallback* const _owner;
  EntryList _entries VEL_GUARDED_BY(_entries_lock);
  IVelSessionHost* _host = nullptr;
  const std::wstring _plugins_dir;
  SerialQueue _queue;
  VelRWLock _entries_lock;
  // 1 before load_plugins and after stop.
  std::atomic<std::uint32_t> _stopped{1};
  // Constant after construction.
  const std::uint32_t _main_thread_id;
  // Main thread only: its events under way, one inside the other; a stop that
  // waits for their end; the plug-ins that have ended, whose handlers may be in
  // the menu to the object's end; whether one was given up.
  int _main_events = 0;
  bool _stop_is_due = false;
  EntryList _ended;
  bool _gave_up = false;
};

}  // namespace vel

#endif  // VEL_SESSIONS_VELPLUGINSCTL_H_
