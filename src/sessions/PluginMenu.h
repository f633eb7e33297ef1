#ifndef VEL_SESSIONS_PLUGINMENU_H_
#define VEL_SESSIONS_PLUGINMENU_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"
#include "vel/IVelTrayMenu.h"

namespace vel {

class PluginEntry;

// The tray's menu as one plug-in sees it. The choice of an item is an event of
// the plug-in that has added it: the handler in the menu is one of this class,
// which counts the call and makes none after the plug-in's end. So the menu may
// outlive the plug-in, but not this object.
class PluginMenu : public IVelTrayMenu {
 public:
  // `entry` isn't owned and outlives the object.
  explicit PluginMenu(PluginEntry* entry);
  ~PluginMenu();
  PluginMenu(const PluginMenu&) = delete;
  PluginMenu& operator=(const PluginMenu&) = delete;

  // Goes on to `tray`, whose menu was emptied and is about to be built anew.
  void begin(IVelTrayMenu* tray);

  void add_menu_item(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
                     const wchar_t* text, IVelMenuItemHandler* handler,
                     bool flag) override;

 private:
  class Handler;
  using Handlers = std::vector<std::unique_ptr<Handler>>;

  // The handler for the menu; null for null.
  IVelMenuItemHandler* counted(IVelMenuItemHandler* handler)
      VEL_REQUIRES(_lock);

  PluginEntry* const _entry;
  VelFastMutex _lock;
  IVelTrayMenu* _tray VEL_GUARDED_BY(_lock) = nullptr;
  // Since the last begin(), and since the one before: what another thread adds
  // while the menu is emptied may still be in it.
  Handlers _handlers VEL_GUARDED_BY(_lock);
  Handlers _former VEL_GUARDED_BY(_lock);
};

}  // namespace vel

#endif  // VEL_SESSIONS_PLUGINMENU_H_
