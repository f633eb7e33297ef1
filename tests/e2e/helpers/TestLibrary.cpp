// A plug-in that records every event and does what a test asks of it, and a
// session library without processes, in one. Both record in the file events.log
// beside the program. While the file "veto" there isn't empty every shutdown is
// refused, and while "no_session" isn't, no session is made.
//
// The plug-in's parameters: "null" refuses to load, "post" posts a broadcast
// from GetVELPlugin, "callback" calls the host back from every event.
#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "helpers/Actions.h"
#include "vel/IVelPlugin.h"
#include "vel/IVelSession.h"

namespace {

using namespace vel::test;
namespace fs = std::filesystem;

fs::path BesideTheProgram(const wchar_t* name) {
  wchar_t path[1024] = {};
  GetModuleFileNameW(nullptr, path, 1024);
  return fs::path(path).replace_filename(name);
}

bool Told(const wchar_t* flag) {
  std::error_code missing;
  const auto size = fs::file_size(BesideTheProgram(flag), missing);
  return !missing && size > 0;
}

void Record(const char* format, ...) {
  static std::mutex lock;
  const std::lock_guard scope(lock);
  std::FILE* const file =
      _wfopen(BesideTheProgram(L"events.log").c_str(), L"ab");
  if (!file) return;
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(file, format, arguments);
  va_end(arguments);
  std::fputc('\n', file);
  std::fclose(file);
}

class TestPlugin final : public IVelPlugin, private IVelMenuItemHandler {
 public:
  TestPlugin(IVelPluginHost* host, const std::wstring& parameters)
      : _host(host), _call_back(parameters == L"callback") {
    if (parameters == L"post") _host->post_broadcast(L"e2e_early", 1, 2);
    CallBack();
  }

  void on_tray_menu_popup(IVelTrayMenu* tray) override {
    Record("popup");
    CallBack();
    tray->add_menu_item(0, VEL_MENU_ITEM_BOLD, 71, L"&Default", this, false);
    tray->add_menu_item(0, VEL_MENU_ITEM_PLAIN, 72, L"&Plain", this, true);
  }
  void on_session_startup(IVelSession*, const wchar_t* config) override {
    Record("startup %ls", config);
    CallBack();
  }
  void on_session_shutdown(IVelSession*) override {
    Record("shutdown");
    CallBack();
  }
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t type) override {
    const bool agreed = !Told(L"veto");
    Record("query %u %s %s", type, session ? "session" : "null",
           agreed ? "agreed" : "refused");
    CallBack();
    return agreed;
  }
  bool on_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override {
    const std::wstring text = name;
    Record("broadcast %ls%s", name, sender == this ? " (own)" : "");
    if (text == L"e2e_called_back") return false;
    if (text == vel_broadcast::kSvcInitialized) {
      Record("service %u", static_cast<unsigned>(a));
    }
    CallBack();
    if (text == vel_broadcast::kUpdateGetStatus) {
      *reinterpret_cast<std::int32_t*>(b) = 2;
      return true;
    }
    if (text == vel_broadcast::kOpenUnprotectedBrowser) {
      const std::uint32_t result = Do(a);
      Record("did %u -> %x", static_cast<unsigned>(a), result);
    }
    return false;
  }
  void destroy() override {
    Record("destroy");
    delete this;
  }

 private:
  ~TestPlugin() = default;

  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t) override {
    Record("menu event %u id %u", event, id);
  }

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
      case kActionNeedNormal:
        return _host->need_session(L"Normal");
      case kActionNeedOther:
        return _host->need_session(L"Other");
      case kActionCloseAll:
        return _host->close_session(nullptr, VEL_SHUTDOWN_USER);
      case kActionCloseOther:
        return _host->close_session(L"other", VEL_SHUTDOWN_USER);
      case kActionRestart:
        return _host->shutdown(VEL_SHUTDOWN_RESTART);
    }
    return 0;
  }

  IVelPluginHost* const _host;
  const bool _call_back;
};

// A start_app with the verb "e2e_die" ends it from outside.
class TestSession final : public IVelSession {
 public:
  void start(const VelSessionStart* parameters) override {
    _config = parameters->config ? parameters->config : L"";
    Record("start %ls", _config.c_str());
    _state = VEL_SESSION_RUNNING;
  }
  void shutdown() override {
    Record("shutdown %ls", _config.c_str());
    _state = VEL_SESSION_STOPPED;
  }
  std::uint32_t start_app(const wchar_t* verb, const wchar_t* file,
                          const wchar_t* parameters, const wchar_t* directory,
                          const wchar_t* class_name) override {
    Record("app %ls|%ls|%ls|%ls|%ls|%ls", _config.c_str(), verb, file,
           parameters, directory, class_name);
    if (std::wstring(verb) == L"e2e_die") {
      std::thread([this] {
        Record("died %ls", _config.c_str());
        _state = VEL_SESSION_BROKEN;
        _callback.load()->MgrShutdown(0);
      }).detach();
    }
    return 0;
  }
  std::uint32_t get_state() override { return _state; }
  void add_callback(IVelSessionCallback* callback) override {
    _callback = callback;
  }
  void remove_callback(IVelSessionCallback*) override { _callback = nullptr; }
  void release() override {
    Record("release %ls", _config.c_str());
    delete this;
  }
  void reserved_3() override {}
  void reserved_5() override {}
  void reserved_6() override {}
  void reserved_7() override {}
  void reserved_9() override {}

 private:
  ~TestSession() = default;

  std::wstring _config;
  std::atomic<std::uint32_t> _state = VEL_SESSION_STOPPED;
  std::atomic<IVelSessionCallback*> _callback = nullptr;
};

}  // namespace

extern "C" __declspec(dllexport)
    IVelPlugin* GetVELPlugin(IVelPluginHost* host, const wchar_t* parameters) {
  Record("load '%ls'", parameters);
  if (std::wstring(parameters) == L"null") return nullptr;
  return new TestPlugin(host, parameters);
}

extern "C" __declspec(dllexport) IVelSession* VelCreateSession() {
  return Told(L"no_session") ? nullptr : new TestSession;
}
