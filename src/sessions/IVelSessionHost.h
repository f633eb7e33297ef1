#ifndef VEL_SESSIONS_IVELSESSIONHOST_H_
#define VEL_SESSIONS_IVELSESSIONHOST_H_

#include <windows.h>

#include <cstdint>

#include "vel/IVelPlugin.h"
#include "vel/IVelSession.h"

namespace vel {

// How session holders and plug-ins reach the tray, which implements it. Every
// operation may be called on any thread. Texts are zero-terminated and valid
// during the call only; statuses and shutdown types are those of
// vel/IVelPlugin.h.
//
// The last three are called with a session holder's lock held, and go on to the
// plug-ins: they must not come back to the same holder.
class IVelSessionHost {
 public:
  // Makes sure that `config` has a session.
  virtual std::uint32_t need_session(const wchar_t* config) = 0;
  // Asks the plug-ins and ends the session of `config`, or all for null.
  virtual std::uint32_t close_session(const wchar_t* config,
                                      std::uint32_t shutdown_type) = 0;
  // Ends the tray unless a plug-in refuses.
  virtual std::uint32_t shutdown(std::uint32_t shutdown_type) = 0;
  // The line of the tooltip and the icon that belong to `id`, the number of a
  // PluginEntry. Null or an empty text removes the line, 0 the icon. The icon
  // stays the caller's.
  virtual void set_notify_hint(std::uint32_t id, const wchar_t* hint) = 0;
  virtual void set_notify_icon(std::uint32_t id, HICON icon) = 0;
  // A manager was made for `config` and isn't started yet.
  virtual void on_session_startup(IVelSession* session,
                                  const wchar_t* config) = 0;
  // The manager has stopped and is about to be released.
  virtual void on_session_shutdown(IVelSession* session) = 0;
  // May the session end? `session` is null when there is none now.
  virtual bool query_session_shutdown(IVelSession* session,
                                      std::uint32_t shutdown_type) = 0;

 protected:
  // Nobody ends the tray through this interface.
  ~IVelSessionHost() = default;
};

}  // namespace vel

#endif  // VEL_SESSIONS_IVELSESSIONHOST_H_
