#include "PluginRig.h"

#include "foundation/Text.h"

namespace vel::test {

void ProbePlugin::note(const std::wstring& event) {
  _events.add(_library + L": " + event);
  if (on_event) on_event(event.substr(0, event.find(L' ')));
}

void ProbePlugin::on_tray_menu_popup(IVelTrayMenu*) {
  note(L"popup");
}

void ProbePlugin::on_session_startup(IVelSession*, const wchar_t* config) {
  note(FormatWide(L"startup %s", config));
}

void ProbePlugin::on_session_shutdown(IVelSession*) {
  note(L"shutdown");
}

bool ProbePlugin::query_session_shutdown(IVelSession*,
                                         std::uint32_t shutdown_type) {
  note(FormatWide(L"query %u", shutdown_type));
  return agrees;
}

bool ProbePlugin::on_broadcast(IVelPlugin*, const wchar_t* name,
                               std::uintptr_t a, std::uintptr_t b) {
  note(FormatWide(L"%s %i %i", name, static_cast<int>(a), static_cast<int>(b)));
  return ends_broadcasts;
}

void ProbePlugin::destroy() {
  note(L"destroy");
}

PluginRig::PluginRig() {
  open_door<IPluginDoor>(kPluginDoor, this);
}

ProbePlugin& PluginRig::add(const std::wstring& library) {
  copy_library(L"FakePlugin.dll", directory.File(library));
  auto& plugin = _plugins[library];
  plugin = std::make_unique<ProbePlugin>(events, library);
  return *plugin;
}

IVelPlugin* PluginRig::get_plugin(const wchar_t* library, IVelPluginHost* host,
                                  const wchar_t* parameters) {
  events.add(FormatWide(L"%s: made '%s'", library, parameters));
  if (on_load) on_load(host);
  if (refusing.contains(library)) return nullptr;
  ProbePlugin& plugin = *_plugins.at(library);
  plugin.host = host;
  return &plugin;
}

long PluginRig::can_unload_now(const wchar_t*) {
  return refused_unloads > 0 ? refused_unloads-- : 0;
}

void PluginRig::unloaded(const wchar_t* library) {
  events.add(FormatWide(L"%s: unloaded", library));
}

std::uint32_t PluginRig::need_session(const wchar_t* config) {
  events.add(FormatWide(L"need_session %s", config));
  return VEL_STATUS_SESSION_ACTIVE;
}

std::uint32_t PluginRig::close_session(const wchar_t* config,
                                       std::uint32_t shutdown_type) {
  events.add(FormatWide(L"close_session %s %u",
                        config != nullptr ? config : L"*", shutdown_type));
  if (on_close_session) on_close_session();
  return VEL_STATUS_REFUSED;
}

std::uint32_t PluginRig::shutdown(std::uint32_t shutdown_type) {
  events.add(FormatWide(L"shutdown %u", shutdown_type));
  return VEL_STATUS_SHUTTING_DOWN;
}

void PluginRig::set_notify_hint(std::uint32_t, const wchar_t* hint) {
  events.add(FormatWide(L"hint %s", hint != nullptr ? hint : L"-"));
}

void PluginRig::set_notify_icon(std::uint32_t, HICON icon) {
  events.add(icon != nullptr ? L"icon" : L"icon -");
}

}  // namespace vel::test
