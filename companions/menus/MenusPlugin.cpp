#include "menus/MenusPlugin.h"

#include <algorithm>
#include <cwchar>
#include <exception>

#include "common/DebugReport.h"
#include "menus/Background.h"
#include "menus/Dialogs.h"
#include "menus/OpenTasks.h"
#include "menus/Settings.h"
#include "vel/StringIds.h"

namespace velmenus {
namespace {

// Ids of the items. Submenus need one that no other plug-in uses either, so
// theirs are the numbers of their texts.
enum Item : std::uint32_t {
  kOpenBrowser = 1,
  kOpenFile,
  kStartWithWindows,
  kConfigure,
  kAbout,
  kNothing,
  kConfigurations = VEL_STRING_MENU_CONFIGURATION,
  kSessions = VEL_STRING_MENU_SESSIONS,
  // The position in the list is added to these two.
  kFirstConfiguration = 0x10000,
  kFirstSession = 0x20000,
};

// Nothing that is thrown may cross the border to the tray.
template <class Function>
void guarded(Function function) {
  try {
    function();
  } catch (const std::exception&) {
    companion::debug_report(L"menus", L"a call of the tray",
                            ERROR_NOT_ENOUGH_MEMORY);
  }
}

bool same(const std::wstring& a, const std::wstring& b) {
  return _wcsicmp(a.c_str(), b.c_str()) == 0;
}

bool holds(const std::vector<std::wstring>& list, const std::wstring& name) {
  return std::any_of(
      list.begin(), list.end(),
      [&name](const std::wstring& each) { return same(each, name); });
}

// A name as it shows in a menu, where a single '&' would mark an access key.
std::wstring as_menu_text(const std::wstring& name) {
  std::wstring result;
  for (const wchar_t letter : name) {
    result.append(letter == L'&' ? 2 : 1, letter);
  }
  return result;
}

}  // namespace

MenusPlugin::MenusPlugin(IVelPluginHost* host, const wchar_t* parameters)
    : _core(
          std::make_shared<MenusCore>(host, parse_configurations(parameters))) {
  update_hint();
}

void MenusPlugin::on_tray_menu_popup(IVelTrayMenu* tray) {
  guarded([&] { build_menu(tray); });
}

void MenusPlugin::build_menu(IVelTrayMenu* tray) {
  const Texts& texts = _core->texts;
  add_item(tray, 0, VEL_MENU_ITEM_BOLD, kOpenBrowser,
           texts.get(VEL_STRING_MENU_OPEN_BROWSER));
  add_item(tray, 0, VEL_MENU_ITEM_PLAIN, kOpenFile,
           texts.get(VEL_STRING_MENU_OPEN_FILE));
  add_item(tray, 0, VEL_MENU_ITEM_SEPARATOR, 0, L"-");
  add_configurations(tray);
  add_sessions(tray);
  add_item(tray, 0, VEL_MENU_ITEM_SEPARATOR, 0, L"-");
  add_item(tray, 0, VEL_MENU_ITEM_PLAIN, kStartWithWindows,
           texts.get(VEL_STRING_MENU_START_WITH_WINDOWS),
           starts_with_windows());
  add_item(tray, 0, VEL_MENU_ITEM_PLAIN, kConfigure,
           texts.get(VEL_STRING_MENU_CONFIGURE));
  add_item(tray, 0, VEL_MENU_ITEM_PLAIN, kAbout,
           texts.get(VEL_STRING_MENU_ABOUT));
}

void MenusPlugin::add_item(IVelTrayMenu* tray, std::uint32_t parent,
                           std::uint32_t type, std::uint32_t id,
                           const std::wstring& text, bool flag) {
  tray->add_menu_item(parent, type, id, text.c_str(), this, flag);
}

void MenusPlugin::add_configurations(IVelTrayMenu* tray) {
  add_item(tray, 0, VEL_MENU_ITEM_SUBMENU, kConfigurations,
           _core->texts.get(VEL_STRING_MENU_CONFIGURATION));
  const std::wstring chosen = chosen_configuration(_core->configurations);
  std::uint32_t id = kFirstConfiguration;
  for (const std::wstring& each : _core->configurations) {
    add_item(tray, kConfigurations, VEL_MENU_ITEM_PLAIN, id++,
             as_menu_text(each), same(each, chosen));
  }
}

void MenusPlugin::add_sessions(IVelTrayMenu* tray) {
  const std::vector<std::wstring> running = _core->sessions.configurations();
  _shown_sessions.clear();
  for (const std::wstring& each : _core->configurations) {
    _shown_sessions.push_back({each, holds(running, each)});
  }
  // A session of a configuration that isn't ours can be ended here too.
  for (const std::wstring& each : running) {
    if (!holds(_core->configurations, each)) {
      _shown_sessions.push_back({each, true});
    }
  }
  add_item(tray, 0, VEL_MENU_ITEM_SUBMENU, kSessions,
           _core->texts.get(VEL_STRING_MENU_SESSIONS));
  if (running.empty()) {
    add_item(tray, kSessions, VEL_MENU_ITEM_LABEL, kNothing,
             _core->texts.get(VEL_STRING_MENU_NO_SESSIONS));
  }
  std::uint32_t id = kFirstSession;
  for (const SessionItem& each : _shown_sessions) {
    const UINT text = each.running ? VEL_STRING_MENU_END_SESSION
                                   : VEL_STRING_MENU_START_SESSION;
    add_item(
        tray, kSessions, VEL_MENU_ITEM_PLAIN, id++,
        _core->texts.format(text, as_menu_text(each.configuration).c_str()),
        each.running);
  }
}

void MenusPlugin::on_menu_event(std::uint32_t event, std::uint32_t id,
                                std::uintptr_t) {
  if (event == VEL_MENU_EVENT_CHOSEN) guarded([&] { choose(id); });
}

void MenusPlugin::choose(std::uint32_t id) {
  switch (id) {
    case kOpenBrowser:
      return open_browser(_core);
    case kOpenFile:
      return open_file_dialog(_core);
    case kStartWithWindows:
      return settings_written(_core,
                              set_starts_with_windows(!starts_with_windows()));
    case kConfigure:
      return open_configure_dialog(_core);
    case kAbout:
      return open_about_dialog(_core);
    default:
      break;
  }
  if (id >= kFirstSession && id - kFirstSession < _shown_sessions.size()) {
    choose_session(_shown_sessions[id - kFirstSession]);
  } else if (id >= kFirstConfiguration &&
             id - kFirstConfiguration < _core->configurations.size()) {
    settings_written(_core,
                     set_chosen_configuration(
                         _core->configurations[id - kFirstConfiguration]));
  }
}

void MenusPlugin::choose_session(const SessionItem& item) {
  if (item.running) {
    end_session(_core, item.configuration);
  } else {
    start_session(_core, item.configuration);
  }
}

void MenusPlugin::on_session_startup(IVelSession* session,
                                     const wchar_t* config) {
  guarded([&] {
    _core->sessions.started(session, config);
    update_hint();
  });
}

void MenusPlugin::on_session_shutdown(IVelSession* session) {
  guarded([&] {
    _core->sessions.ended(session);
    update_hint();
  });
}

bool MenusPlugin::query_session_shutdown(IVelSession*, std::uint32_t) {
  return true;
}

void MenusPlugin::update_hint() {
  const companion::SrwLock::Scope scope(_hint_lock);
  const auto count = static_cast<unsigned>(_core->sessions.count());
  const HostRef::Use host(_core->host);
  if (!host) return;
  const std::wstring hint =
      count == 0 ? _core->texts.get(VEL_STRING_HINT_NO_SESSION)
                 : _core->texts.format(VEL_STRING_HINT_SESSIONS, count);
  host->set_notify_hint(hint.c_str());
}

bool MenusPlugin::on_broadcast(IVelPlugin*, const wchar_t* name, std::uintptr_t,
                               std::uintptr_t) {
  bool answered = false;
  guarded([&] { answered = answer_broadcast(name); });
  return answered;
}

// What belongs to this plug-in alone ends here. All else goes on: it has no
// updates to report and sees no windows, so it leaves these questions to
// others.
bool MenusPlugin::answer_broadcast(const std::wstring& name) {
  if (name == vel_broadcast::kConfigure) {
    open_configure_dialog(_core);
  } else if (name == vel_broadcast::kAbout) {
    open_about_dialog(_core);
  } else if (name == vel_broadcast::kOpenUnprotectedBrowser) {
    open_unprotected_browser(_core);
  } else {
    return false;
  }
  return true;
}

void MenusPlugin::destroy() {
  background::close();
  _core->host.close();
  delete this;
}

}  // namespace velmenus
