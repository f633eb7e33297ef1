// A session library without processes: it records what the tray asks of it,
// and a start_app with the verb "e2e_die" ends the session from outside, with
// the status that the parameters name in hexadecimal. While a file
// "<library>.null" lies beside it, it makes no session.
#include <windows.h>

#include <atomic>
#include <cwchar>
#include <string>

#include "helpers/EventLines.h"
#include "vel/IVelSession.h"

namespace {

using vel::test::EventLine;

class TestSession final : public IVelSession {
 public:
  void start(const VelSessionStart* parameters) override {
    _config = parameters->config ? parameters->config : L"";
    EventLine(L"start %ls", _config.c_str());
    _state = VEL_SESSION_RUNNING;
  }

  void shutdown() override {
    EventLine(L"shutdown %ls", _config.c_str());
    _state = VEL_SESSION_STOPPED;
  }

  std::uint32_t start_app(const wchar_t* verb, const wchar_t* file,
                          const wchar_t* parameters, const wchar_t* directory,
                          const wchar_t* class_name) override {
    EventLine(L"app %ls|%ls|%ls|%ls|%ls|%ls", _config.c_str(), verb, file,
              parameters, directory, class_name);
    if (std::wstring(verb) == L"e2e_die") {
      _death = std::wcstoul(parameters, nullptr, 16);
      CloseHandle(CreateThread(nullptr, 0, &Die, this, 0, nullptr));
    }
    return 0;
  }

  std::uint32_t get_state() override { return _state; }
  void add_callback(IVelSessionCallback* callback) override {
    _callback = callback;
  }
  void remove_callback(IVelSessionCallback*) override { _callback = nullptr; }

  void release() override {
    EventLine(L"release %ls", _config.c_str());
    delete this;
  }

  void reserved_3() override {}
  void reserved_5() override {}
  void reserved_6() override {}
  void reserved_7() override {}
  void reserved_9() override {}

 private:
  ~TestSession() = default;

  static DWORD WINAPI Die(void* self) {
    auto* const session = static_cast<TestSession*>(self);
    EventLine(L"died %ls %x", session->_config.c_str(), session->_death);
    session->_state = VEL_SESSION_BROKEN;
    if (IVelSessionCallback* callback = session->_callback) {
      callback->MgrShutdown(session->_death);
    }
    return 0;
  }

  std::wstring _config;
  std::atomic<std::uint32_t> _state = VEL_SESSION_STOPPED;
  std::atomic<IVelSessionCallback*> _callback = nullptr;
  std::uint32_t _death = 0;
};

}  // namespace

extern "C" __declspec(dllexport) IVelSession* VelCreateSession() {
  const std::wstring refuse = vel::test::BesideThisLibrary(L".null");
  const bool refuses =
      GetFileAttributesW(refuse.c_str()) != INVALID_FILE_ATTRIBUTES;
  return refuses ? nullptr : new TestSession;
}
