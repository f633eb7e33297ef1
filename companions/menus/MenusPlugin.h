// The plug-in object: its part of the menu, its hint, the broadcasts that it
// answers.
#ifndef VEL_COMPANIONS_MENUS_MENUSPLUGIN_H_
#define VEL_COMPANIONS_MENUS_MENUSPLUGIN_H_

#include <string>
#include <vector>

#include "menus/MenusCore.h"
#include "vel/IVelPlugin.h"
#include "vel/IVelTrayMenu.h"

namespace velmenus {

class MenusPlugin final : public IVelPlugin, public IVelMenuItemHandler {
 public:
  MenusPlugin(IVelPluginHost* host, const wchar_t* parameters);

  void on_tray_menu_popup(IVelTrayMenu* tray) override;
  void on_session_startup(IVelSession* session, const wchar_t* config) override;
  void on_session_shutdown(IVelSession* session) override;
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t shutdown_type) override;
  bool on_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override;
  void destroy() override;

  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override;

 private:
  // A session as the menu shows it.
  struct SessionItem {
    std::wstring configuration;
    bool running;
  };

  ~MenusPlugin() = default;

  void build_menu(IVelTrayMenu* tray);
  void add_configurations(IVelTrayMenu* tray);
  void add_sessions(IVelTrayMenu* tray);
  void add_item(IVelTrayMenu* tray, std::uint32_t parent, std::uint32_t type,
                std::uint32_t id, const std::wstring& text, bool flag = false);
  void choose(std::uint32_t id);
  void choose_session(const SessionItem& item);
  void update_hint();
  bool answer_broadcast(const std::wstring& name);

  const MenusCorePtr _core;
  // Keeps the hints in the order of the counts that they show.
  companion::SrwLock _hint_lock;
  // Only on the tray's window thread: what the last menu showed.
  std::vector<SessionItem> _shown_sessions;
};

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_MENUSPLUGIN_H_
