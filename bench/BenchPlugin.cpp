// A plug-in that lets every broadcast pass: what is left is the host's cost.
#include <windows.h>

#include <new>

#include "vel/IVelPlugin.h"

namespace {

class BenchPlugin final : public IVelPlugin {
 public:
  void on_tray_menu_popup(IVelTrayMenu*) override {}
  void on_session_startup(IVelSession*, const wchar_t*) override {}
  void on_session_shutdown(IVelSession*) override {}
  bool query_session_shutdown(IVelSession*, std::uint32_t) override {
    return true;
  }
  bool on_broadcast(IVelPlugin*, const wchar_t*, std::uintptr_t,
                    std::uintptr_t) override {
    return false;
  }
  void destroy() override { delete this; }
};

}  // namespace

extern "C" __declspec(dllexport) IVelPlugin* GetVELPlugin(IVelPluginHost*,
                                                          const wchar_t*) {
  return new (std::nothrow) BenchPlugin;
}
