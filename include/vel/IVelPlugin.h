// The binary contract between the tray and a plug-in library.
//
// A plug-in is a 64-bit DLL in the program's Plugins folder with a line
// "library.dll[,parameters]" in Plugins\plugins.txt. It exports GetVELPlugin
// and gives the tray an IVelPlugin; the tray gives it an IVelPluginHost. The
// order of the operations is part of the contract; text is zero-terminated
// UTF-16, valid only during the call; no exception and no container crosses
// the border.
//
// The life of a plug-in:
//
//   LoadLibraryW
//   GetVELPlugin(host, parameters)      main thread, before the icon exists
//     null: the library is unloaded, nothing else is called
//   on_broadcast, on_session_*, query_session_shutdown, on_tray_menu_popup,
//   IVelMenuItemHandler::on_menu_event  any number, on the threads named
//                                       below, several at the same time
//   destroy                             main thread, when every event has
//                                       ended, the plug-ins in the order of
//                                       loading; the plug-in frees its object.
//                                       host is valid until it returns
//   VelDllCanUnloadNow                  if exported, asked until it gives 0
//   FreeLibrary
//
// At the end of the tray the main thread waits for the events under way, and
// for the broadcasts that a plug-in sends from threads of its own; it
// dispatches messages meanwhile. A plug-in that is still in one after 10
// seconds is given up: nothing more is called, its library stays, and the
// process ends around it.
//
// The plug-in isn't in the tray's list while GetVELPlugin runs: it may post
// broadcasts from there, but doesn't get them.
#ifndef VEL_PUBLIC_IVELPLUGIN_H_
#define VEL_PUBLIC_IVELPLUGIN_H_

#include <cstdint>

#include "vel/IVelSession.h"
#include "vel/IVelTrayMenu.h"

struct HICON__;

// Results of the first three operations of IVelPluginHost, in HRESULT form.
enum VelStatus : std::uint32_t {
  VEL_STATUS_OK = 0,
  // close_session only: a plug-in has refused.
  VEL_STATUS_REFUSED = 1,
  VEL_STATUS_SHUTTING_DOWN = 0x8007045B,
  VEL_STATUS_OUT_OF_MEMORY = 0x8007000E,
  VEL_STATUS_SESSION_ACTIVE = 0x80070964,
  // The call comes from inside a session event and would wait for itself.
  VEL_STATUS_POSSIBLE_DEADLOCK = 0x8007046B,
};

// Why a session or the program is to end.
enum VelShutdownType : std::uint32_t {
  VEL_SHUTDOWN_USER = 0,         // the user's wish
  VEL_SHUTDOWN_FORCED = 1,       // ordered by a command
  VEL_SHUTDOWN_END_SESSION = 2,  // Windows ends the user's session
  VEL_SHUTDOWN_RESTART = 3,      // the program ends and starts anew
};

// Implemented by the plug-in. Every operation may be called while another one
// runs on another thread.
class IVelPlugin {
 public:
  // Add menu items here. `tray` is valid during the call only.
  // Window thread, before each showing of the menu.
  virtual void on_tray_menu_popup(IVelTrayMenu* tray) = 0;
  // A manager was made for `config` and is about to be started. A session
  // that dies and is brought back doesn't come here again.
  // The session's lock is held in this and the next two, in these also what
  // keeps the list of sessions. Call neither need_session nor close_session nor
  // shutdown from here, for whatever configuration, nor wait for a thread that
  // does. A call from this thread that would wait for itself is refused with
  // VEL_STATUS_POSSIBLE_DEADLOCK; a thread that is waited for can't be seen.
  virtual void on_session_startup(IVelSession* session,
                                  const wchar_t* config) = 0;
  // The session has stopped; `session` is released after this call.
  virtual void on_session_shutdown(IVelSession* session) = 0;
  // May the session end? False refuses, and whatever wanted it goes on
  // running. `session` is null when the configuration has no session now. May
  // take as long as it needs; other configurations wait for it, too.
  virtual bool query_session_shutdown(IVelSession* session,
                                      std::uint32_t shutdown_type) = 0;
  // A message of the tray (`sender` null) or of a plug-in. True ends the
  // broadcast: nobody else gets it. The sender itself gets it last.
  // The queue's thread for posted ones, the sender's thread for sent ones.
  virtual bool on_broadcast(IVelPlugin* sender, const wchar_t* name,
                            std::uintptr_t a, std::uintptr_t b) = 0;
  // The end of the object: the library frees it here.
  virtual void destroy() = 0;
};

// Implemented by the tray, one object for each plug-in, valid until destroy
// has returned. Every operation may be called on any thread.
class IVelPluginHost {
 public:
  // Makes sure that `config` has a session; waits for a close that is under
  // way, whatever its configuration. A VelStatus.
  virtual std::uint32_t need_session(const wchar_t* config) = 0;
  // Asks the plug-ins and ends the session of `config`, or all sessions for
  // null. A VelStatus.
  virtual std::uint32_t close_session(const wchar_t* config,
                                      std::uint32_t shutdown_type) = 0;
  // Ends the program if no plug-in refuses. VEL_STATUS_OK says only that the
  // plug-ins were asked.
  virtual std::uint32_t shutdown(std::uint32_t shutdown_type) = 0;
  // This plug-in's line in the icon's tooltip; null or an empty text removes
  // it.
  virtual void set_notify_hint(const wchar_t* hint) = 0;
  // This plug-in's icon; 0 removes it. The plug-in keeps owning the handle,
  // and destroys it only after it has set another one.
  virtual void set_notify_icon(HICON__* icon) = 0;
  // A broadcast on the calling thread, with this plug-in as the sender. True
  // when somebody ended it.
  virtual bool send_broadcast(const wchar_t* name, std::uintptr_t a,
                              std::uintptr_t b) = 0;
  // The same, later, on the queue's thread, in the order of the posts.
  virtual void post_broadcast(const wchar_t* name, std::uintptr_t a,
                              std::uintptr_t b) = 0;
  // Not for plug-ins.
  virtual ~IVelPluginHost() = default;
};

// The library's exports. GetVELPlugin is obligatory, VelDllCanUnloadNow is
// not: it gives 0 when the library can be unloaded. `parameters` is what stands
// behind the comma in plugins.txt, with its %VARIABLES% expanded; never null.
using GetVELPluginFn = IVelPlugin*(IVelPluginHost* host,
                                   const wchar_t* parameters);
inline constexpr char VEL_GET_PLUGIN_EXPORT[] = "GetVELPlugin";
using VelDllCanUnloadNowFn = long();
inline constexpr char VEL_CAN_UNLOAD_EXPORT[] = "VelDllCanUnloadNow";

// The broadcasts that the tray makes, with what stands in a and b. Plug-ins
// may use any other name among themselves.
namespace vel_broadcast {
// Posted. a: 1 at the tray's start, 0 when the service was reached anew.
inline constexpr wchar_t kSvcInitialized[] = L"VELSVC_INITIALIZED";
// Posted, once the tray is up.
inline constexpr wchar_t kGuiInitialized[] = L"VELGUI_INITIALIZED";
// Posted. a: the command's value.
inline constexpr wchar_t kOpenUnprotectedBrowser[] =
    L"OPEN_UNPROTECTED_BROWSER";
// Posted, by command.
inline constexpr wchar_t kConfigure[] = L"VELMENUS_CONFIGURE";
inline constexpr wchar_t kAbout[] = L"VELMENUS_ABOUT";
inline constexpr wchar_t kUpdateCheckVersion[] = L"update_check_version";
inline constexpr wchar_t kFlushSession[] = L"flush_session";
inline constexpr wchar_t kRestoreAlertsSettings[] = L"restore_alerts_settings";
inline constexpr wchar_t kUiSettingsChanged[] = L"ui_settings_changed";
// Sent. b: pointer to the VelVersionInfo block.
inline constexpr wchar_t kGetVersionInfo[] = L"get_version_info";
// Sent. b: pointer to a signed 32-bit status to fill with 0 to 3.
inline constexpr wchar_t kUpdateGetStatus[] = L"update_get_status";
// Sent. b: pointer to the block, one byte at least.
inline constexpr wchar_t kHasInteractiveApps[] = L"has_interactive_apps";
// Sent. a: pointer to the block, b: its size in bytes.
inline constexpr wchar_t kSetUrlModePolicy[] = L"set_url_mode_policy";
inline constexpr wchar_t kUpdateEnumUpdates[] = L"update_enum_updates";
}  // namespace vel_broadcast

#endif  // VEL_PUBLIC_IVELPLUGIN_H_
