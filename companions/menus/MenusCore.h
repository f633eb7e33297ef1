// What the plug-in's object shares with its background work.
#ifndef VEL_COMPANIONS_MENUS_MENUSCORE_H_
#define VEL_COMPANIONS_MENUS_MENUSCORE_H_

#include <memory>
#include <string>
#include <vector>

#include "menus/HostRef.h"
#include "menus/SessionList.h"
#include "menus/Texts.h"

namespace velmenus {

// Outlives the plug-in's object while a task or a dialog runs.
struct MenusCore {
  MenusCore(IVelPluginHost* plugin_host, std::vector<std::wstring> names)
      : host(plugin_host), configurations(std::move(names)) {}

  HostRef host;
  SessionList sessions;
  const Texts texts;
  const std::vector<std::wstring> configurations;  // never empty
};
using MenusCorePtr = std::shared_ptr<MenusCore>;

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_MENUSCORE_H_
