// A plug-in that records every event and does what a test asks of it.
//
// Its parameters are words: "null" refuses to load, "post" posts a broadcast
// from GetVELPlugin, "callback" calls the host back from every event where
// that is allowed. It refuses every shutdown while a file "<library>.veto"
// lies beside it.
#include <windows.h>

#include <string>

#include "helpers/Actions.h"
#include "helpers/EventLines.h"
#include "vel/IVelPlugin.h"

namespace {

using vel::test::EventLine;

class TestMenuHandler : public IVelMenuItemHandler {
 public:
  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t) override {
    EventLine(L"menu event %u id %u", event, id);
  }
};

class TestPlugin final : public IVelPlugin {
 public:
  TestPlugin(IVelPluginHost* host, const std::wstring& parameters)
      : _host(host),
        _call_back(parameters.find(L"callback") != std::wstring::npos) {
    if (parameters.find(L"post") != std::wstring::npos) {
      _host->post_broadcast(L"e2e_early", 1, 2);
    }
    CallBack();
  }

  void on_tray_menu_popup(IVelTrayMenu* tray) override {
    EventLine(L"popup");
    CallBack();
    tray->add_menu_item(0, VEL_MENU_ITEM_BOLD, 71, L"&Default", &_handler,
                        false);
    tray->add_menu_item(0, VEL_MENU_ITEM_PLAIN, 72, L"&Plain", &_handler, true);
  }

  void on_session_startup(IVelSession*, const wchar_t* config) override {
    EventLine(L"startup %ls", config);
    CallBack();
  }

  void on_session_shutdown(IVelSession*) override {
    EventLine(L"shutdown");
    CallBack();
  }

  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t type) override {
    const std::wstring veto = vel::test::BesideThisLibrary(L".veto");
    const bool agreed =
        GetFileAttributesW(veto.c_str()) == INVALID_FILE_ATTRIBUTES;
    EventLine(L"query %u %ls %ls", type, session ? L"session" : L"null",
              agreed ? L"agreed" : L"refused");
    CallBack();
    return agreed;
  }

  bool on_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override {
    const std::wstring text = name;
    EventLine(L"broadcast %ls%ls", name, sender == this ? L" (own)" : L"");
    if (text == L"e2e_called_back") return false;
    CallBack();
    if (text == vel_broadcast::kUpdateGetStatus) {
      *reinterpret_cast<std::int32_t*>(b) = 2;
      return true;
    }
    if (text == vel_broadcast::kOpenUnprotectedBrowser) Act(a);
    return false;
  }

  void destroy() override {
    EventLine(L"destroy");
    delete this;
  }

 private:
  ~TestPlugin() = default;

  // Calls that every event may make.
  void CallBack() {
    if (!_call_back) return;
    _host->set_notify_hint(L"e2e");
    _host->set_notify_icon(nullptr);
    _host->send_broadcast(L"e2e_called_back", 0, 0);
    _host->post_broadcast(L"e2e_called_back", 0, 0);
  }

  std::uint32_t Do(std::uintptr_t action) {
    switch (action) {
      case vel::test::kActionNeedNormal:
        return _host->need_session(L"Normal");
      case vel::test::kActionNeedOther:
        return _host->need_session(L"Other");
      case vel::test::kActionCloseAll:
        return _host->close_session(nullptr, VEL_SHUTDOWN_USER);
      case vel::test::kActionCloseOther:
        return _host->close_session(L"other", VEL_SHUTDOWN_USER);
      case vel::test::kActionShutdown:
        return _host->shutdown(VEL_SHUTDOWN_USER);
      case vel::test::kActionRestart:
        return _host->shutdown(VEL_SHUTDOWN_RESTART);
      case vel::test::kActionSendOwn:
        return _host->send_broadcast(L"e2e_own", 1, 2);
      default:
        return 0;
    }
  }

  void Act(std::uintptr_t action) {
    const std::uint32_t result = Do(action);
    EventLine(L"did %u -> %x", static_cast<unsigned>(action), result);
  }

  IVelPluginHost* const _host;
  const bool _call_back;
  TestMenuHandler _handler;
};

}  // namespace

extern "C" __declspec(dllexport)
    IVelPlugin* GetVELPlugin(IVelPluginHost* host, const wchar_t* parameters) {
  EventLine(L"load '%ls'", parameters);
  if (std::wstring(parameters) == L"null") return nullptr;
  return new TestPlugin(host, parameters);
}
