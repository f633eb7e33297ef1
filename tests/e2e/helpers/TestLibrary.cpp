// A plug-in that records every event and does what a test asks of it, and a
// session library without processes, in one. Both record in the file events.log
// beside the program. While the file "veto" there isn't empty every shutdown is
// refused.
//
// Command 6 with the text "5" has it restart the program. The parameters of the
// plug-in give it more to do:
//   ends    its default item shuts the program down and takes a second more
//   hangs   its default item never comes back
#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>

#include "vel/IVelPlugin.h"
#include "vel/IVelSession.h"

namespace {

namespace fs = std::filesystem;

fs::path BesideTheProgram(const wchar_t* name) {
  wchar_t path[1024] = {};
  GetModuleFileNameW(nullptr, path, 1024);
  return fs::path(path).replace_filename(name);
}

bool Vetoed() {
  std::error_code missing;
  const auto size = fs::file_size(BesideTheProgram(L"veto"), missing);
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
  TestPlugin(IVelPluginHost* host, const std::wstring& part)
      : _host(host), _part(part) {}

  void on_tray_menu_popup(IVelTrayMenu* tray) override {
    Record("popup");
    tray->add_menu_item(0, VEL_MENU_ITEM_BOLD, 71, L"&Default", this, false);
    tray->add_menu_item(0, VEL_MENU_ITEM_PLAIN, 72, L"&Plain", this, true);
  }
  void on_session_startup(IVelSession*, const wchar_t*) override {}
  void on_session_shutdown(IVelSession*) override { Record("shutdown"); }
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t type) override {
    const bool agreed = !Vetoed();
    Record("query %u %s %s", type, session ? "session" : "null",
           agreed ? "agreed" : "refused");
    return agreed;
  }
  bool on_broadcast(IVelPlugin*, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t) override {
    const std::wstring text = name;
    Record("broadcast %ls", name);
    if (text == vel_broadcast::kSvcInitialized) {
      Record("service %u", static_cast<unsigned>(a));
    }
    if (text == vel_broadcast::kOpenUnprotectedBrowser && a == 5) {
      _host->shutdown(VEL_SHUTDOWN_RESTART);
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
    if (_part == L"hangs") Sleep(INFINITE);
    if (_part == L"ends") {
      _host->shutdown(VEL_SHUTDOWN_USER);
      Sleep(1000);
      Record("left the menu event");
    }
  }

  IVelPluginHost* const _host;
  const std::wstring _part;
};

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
    return 0;
  }
  std::uint32_t get_state() override { return _state; }
  void add_callback(IVelSessionCallback*) override {}
  void remove_callback(IVelSessionCallback*) override {}
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
};

}  // namespace

extern "C" __declspec(dllexport)
    IVelPlugin* GetVELPlugin(IVelPluginHost* host, const wchar_t* parameters) {
  Record("load '%ls'", parameters);
  return new TestPlugin(host, parameters);
}

extern "C" __declspec(dllexport) IVelSession* VelCreateSession() {
  return new TestSession;
}
