#include "SessionRig.h"

#include "foundation/Environment.h"
#include "foundation/Text.h"

namespace vel::test {

void FakeSession::start(const VelSessionStart* parameters) {
  EXPECT_EQ(0u, parameters->reserved);
  const wchar_t* const config = parameters->config;
  _events.add(FormatWide(L"start %s", config != nullptr ? config : L"-"));
  started_at = GetTickCount();
  state = VEL_SESSION_RUNNING;
  ++starts;
}

void FakeSession::shutdown() {
  _events.add(L"shutdown");
  if (stops_at_once) state = VEL_SESSION_STOPPED;
}

std::uint32_t FakeSession::start_app(const wchar_t* verb, const wchar_t* file,
                                     const wchar_t* parameters,
                                     const wchar_t* directory,
                                     const wchar_t* class_name) {
  _events.add(FormatWide(L"start_app %s|%s|%s|%s|%s", verb, file, parameters,
                         directory, class_name));
  return 0;
}

void FakeSession::add_callback(IVelSessionCallback* added) {
  _events.add(L"add_callback");
  callback = added;
}

void FakeSession::remove_callback(IVelSessionCallback* removed) {
  _events.add(L"remove_callback");
  EXPECT_EQ(callback, removed);
  callback = nullptr;
}

SessionRig::SessionRig() {
  open_door<ISessionDoor>(kSessionDoor, this);
  set_env(L"VELDIR", directory.path(), true);
  directory.Write(L"VELUL_MIN\\VELUL.dll", "");
  for (const wchar_t* name : {L"VELUL.dll", L"VELUL_MIN\\VELUL.dll"}) {
    copy_library(L"FakeSessionLibrary.dll", directory.File(name));
  }
}

IVelSession* SessionRig::create_session(const wchar_t* path) {
  events.add(L"create " + std::wstring(path).substr(directory.path().size()));
  sessions.emplace_back(events).state = first_state;
  return &sessions.back();
}

void SessionRig::on_session_startup(IVelSession* session,
                                    const wchar_t* config) {
  EXPECT_EQ(&sessions.back(), session);
  events.add(FormatWide(L"on_session_startup %s", config));
}

void SessionRig::on_session_shutdown(IVelSession* session) {
  EXPECT_NE(static_cast<unsigned>(VEL_SESSION_RUNNING), session->get_state());
  events.add(L"on_session_shutdown");
}

bool SessionRig::query_session_shutdown(IVelSession* session,
                                        std::uint32_t shutdown_type) {
  events.add(FormatWide(L"query %s %u", session != nullptr ? L"session" : L"-",
                        shutdown_type));
  return plugins_agree;
}

}  // namespace vel::test
