#include "FakeProduct.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace {

constexpr int kNameSize = 32;

FakeProduct product;

void Note(const wchar_t* format, ...) {
  AcquireSRWLockExclusive(&product.lock);
  if (product.line_count < FakeProduct::kMaxLines) {
    va_list args;
    va_start(args, format);
    _vsnwprintf(product.lines[product.line_count++], FakeProduct::kLineSize - 1,
                format, args);
    va_end(args);
  }
  ReleaseSRWLockExclusive(&product.lock);
}

void CopyName(wchar_t (&name)[kNameSize], const wchar_t* text) {
  std::wcsncpy(name, text != nullptr ? text : L"", kNameSize - 1);
  name[kNameSize - 1] = L'\0';
}

class FakeSession : public IVelSession {
 public:
  virtual ~FakeSession() = default;

  void start(const VelSessionStart* parameters) override {
    CopyName(config, parameters->config);
    Note(L"session %s: start", config);
    InterlockedExchange(&_state, VEL_SESSION_RUNNING);
  }
  void shutdown() override {
    Note(L"session %s: shutdown", config);
    InterlockedExchange(&_state, VEL_SESSION_STOPPED);
  }
  void reserved_3() override {}
  std::uint32_t start_app(const wchar_t* verb, const wchar_t* file,
                          const wchar_t* parameters, const wchar_t* directory,
                          const wchar_t* class_name) override {
    Note(L"session %s: app %s|%s|%s|%s|%s", config, verb, file, parameters,
         directory, class_name);
    return 0;
  }
  void reserved_5() override {}
  void reserved_6() override {}
  void reserved_7() override {}
  std::uint32_t get_state() override {
    return static_cast<std::uint32_t>(
        InterlockedCompareExchange(&_state, 0, 0));
  }
  void reserved_9() override {}
  void add_callback(IVelSessionCallback*) override {}
  void remove_callback(IVelSessionCallback*) override {}
  void release() override {
    Note(L"session %s: release", config);
    delete this;
  }

  wchar_t config[kNameSize] = {};

 private:
  volatile LONG _state = VEL_SESSION_STOPPED;
};

const wchar_t* ConfigOf(IVelSession* session) {
  return session != nullptr ? static_cast<FakeSession*>(session)->config
                            : L"none";
}

class FakePlugin : public IVelPlugin {
 public:
  explicit FakePlugin(const wchar_t* name) { CopyName(_name, name); }
  virtual ~FakePlugin() = default;

  void on_tray_menu_popup(IVelTrayMenu* tray) override {
    Note(L"%s: popup", _name);
    tray->add_menu_item(0, VEL_MENU_ITEM_PLAIN, 1, _name, nullptr, false);
  }
  void on_session_startup(IVelSession*, const wchar_t* config) override {
    Note(L"%s: startup %s", _name, config);
  }
  void on_session_shutdown(IVelSession* session) override {
    Note(L"%s: shutdown %s", _name, ConfigOf(session));
  }
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t shutdown_type) override {
    Note(L"%s: query %s %u", _name, ConfigOf(session), shutdown_type);
    return product.refuses == nullptr ||
           !product.refuses(_name, ConfigOf(session), shutdown_type);
  }
  bool on_broadcast(IVelPlugin*, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override {
    const bool ended = product.on_broadcast != nullptr &&
                       product.on_broadcast(_name, name, a, b);
    Note(L"%s: broadcast %s %u", _name, name, static_cast<unsigned>(a));
    return ended;
  }
  void destroy() override {
    Note(L"%s: destroy", _name);
    delete this;
  }

 private:
  wchar_t _name[kNameSize];
};

}  // namespace

extern "C" __declspec(dllexport) IVelSession* VelCreateSession() {
  return new FakeSession;
}

extern "C" __declspec(dllexport)
    IVelPlugin* GetVELPlugin(IVelPluginHost* host, const wchar_t* parameters) {
  product.hosts[parameters[0] == L'a' ? 0 : 1] = host;
  if (product.on_create != nullptr) product.on_create(host, parameters);
  return new FakePlugin(parameters);
}

extern "C" __declspec(dllexport) FakeProduct* FakeProduct_Record() {
  return &product;
}
