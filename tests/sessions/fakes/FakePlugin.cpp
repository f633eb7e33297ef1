// A plug-in library that passes everything on to the test.
#include "Doors.h"

namespace {

wchar_t library[MAX_PATH];

vel::test::IPluginDoor* door() {
  return vel::test::find_door<vel::test::IPluginDoor>(vel::test::kPluginDoor);
}

class Plugin final : public IVelPlugin {
 public:
  explicit Plugin(IVelPlugin* target) : _target(target) {}

  void on_tray_menu_popup(IVelTrayMenu* tray) override {
    _target->on_tray_menu_popup(tray);
  }
  void on_session_startup(IVelSession* session,
                          const wchar_t* config) override {
    _target->on_session_startup(session, config);
  }
  void on_session_shutdown(IVelSession* session) override {
    _target->on_session_shutdown(session);
  }
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t shutdown_type) override {
    return _target->query_session_shutdown(session, shutdown_type);
  }
  bool on_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override {
    return _target->on_broadcast(sender, name, a, b);
  }
  void destroy() override {
    _target->destroy();
    delete this;
  }

 private:
  IVelPlugin* const _target;
};

}  // namespace

extern "C" __declspec(dllexport)
    IVelPlugin* GetVELPlugin(IVelPluginHost* host, const wchar_t* parameters) {
  IVelPlugin* const target = door()->get_plugin(library, host, parameters);
  return target != nullptr ? new Plugin(target) : nullptr;
}

extern "C" __declspec(dllexport) long VelDllCanUnloadNow() {
  return door()->can_unload_now(library);
}

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(module, path, MAX_PATH);
    const wchar_t* const slash = std::wcsrchr(path, L'\\');
    std::wcscpy(library, slash != nullptr ? slash + 1 : path);
  }
  if (reason == DLL_PROCESS_DETACH) door()->unloaded(library);
  return TRUE;
}
