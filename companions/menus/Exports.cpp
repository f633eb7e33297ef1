// The two exports of a plug-in.
#include <exception>

#include "menus/Background.h"
#include "menus/MenusPlugin.h"

extern "C" {

IVelPlugin* GetVELPlugin(IVelPluginHost* host, const wchar_t* parameters) {
  try {
    velmenus::background::open();
    return new velmenus::MenusPlugin(host, parameters);
  } catch (const std::exception&) {
    return nullptr;
  }
}

long VelDllCanUnloadNow() {
  return velmenus::background::running();
}

}  // extern "C"
