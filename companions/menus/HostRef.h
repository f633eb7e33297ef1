// The plug-in's host, which background work may use until the plug-in's
// destroy and not a moment longer.
#ifndef VEL_COMPANIONS_MENUS_HOSTREF_H_
#define VEL_COMPANIONS_MENUS_HOSTREF_H_

#include "common/SrwLock.h"
#include "vel/IVelPlugin.h"

namespace velmenus {

// A count of users rather than a lock, since a call to the host can come back
// into the plug-in on the same thread and use the host again.
class HostRef {
 public:
  // A use of the host. It is false after close, and the host is then out of
  // reach.
  class [[nodiscard]] Use {
   public:
    [[nodiscard]] explicit Use(HostRef& host);
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    explicit operator bool() const { return _host != nullptr; }
    IVelPluginHost* operator->() const { return _host; }

   private:
    HostRef& _owner;
    IVelPluginHost* _host;
  };

  explicit HostRef(IVelPluginHost* host) : _host(host) {}

  // Lets no further use begin and waits until those under way have ended.
  void close();

 private:
  companion::SrwLock _lock;
  CONDITION_VARIABLE _unused = CONDITION_VARIABLE_INIT;
  // Guarded by _lock.
  IVelPluginHost* _host;
  int _uses = 0;
};

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_HOSTREF_H_
