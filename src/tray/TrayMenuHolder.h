// The central object of the tray process: it owns the plug-in host, the session
// holders, the tray icon, the GUI API pipe and the watch on the service, is the
// host that plug-ins and session holders talk to, and alone decides whether the
// process may end.
//
// There is one, on the main thread's stack. Its constructor is the start-up
// order of the tray, its destructor the stop order; both run on the main
// thread. Every other operation may be called on any thread.
//
// Locks, outermost first: _sessions_lock, then a holder's own lock. The walk of
// a close holds _sessions_lock for reading across calls into plug-ins, so
// whoever asks for a configuration meanwhile, be it another one, waits for its
// end. A plug-in that does so from inside a session event would wait for
// itself, and is refused (SessionWaits). _popup_lock is for the window thread;
// the plug-ins add their items under it. _notify_lock is held for a moment and
// never across a call into a plug-in. The tray takes each of these two alone; a
// plug-in that is called under another lock may come to _notify_lock by setting
// its hint or icon.
#ifndef VEL_TRAY_TRAYMENUHOLDER_H_
#define VEL_TRAY_TRAYMENUHOLDER_H_

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "channels/VelPipeServer.h"
#include "sessions/IVelSessionHost.h"
#include "sessions/OwnerCallback.h"
#include "sessions/VelPluginsCtl.h"
#include "sessions/VelSessionHolder.h"
#include "sync/ScopedHandle.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"
#include "sync/VelRWLock.h"
#include "tray/ExitTask.h"
#include "tray/IVelGuiIpc.h"
#include "tray/SessionWaits.h"
#include "vel/IVelTrayMenu.h"

namespace vel {

class VELTrayIcon;

class TrayMenuHolder : public IVelSessionHost,
                       public IVelMenuItemHandler,
                       public IVelGuiIpc,
                       public VelPipeServer,
                       public PipeCommandHandler {
 public:
  // Carries out a command that came with a block; a derived holder can add its
  // own. A command it doesn't know and a block that is too small are ignored.
  // Declared first: it is the ninth in the table of IVelSessionHost.
  virtual void gui_ipc_handler(std::uint32_t command, void* buffer,
                               std::uint32_t size);

  // Brings the tray up: service, plug-ins, pipe, icon. The window that takes
  // GUI IPC exists only at the end. `owner_callback` isn't owned, outlives the
  // object and may be null. An exception that somebody catches leaves nothing
  // running behind.
  explicit TrayMenuHolder(OwnerCallback* owner_callback);
  // Doesn't return, but ends the process, when a plug-in had to be given up
  // (VelPluginsCtl::stop).
  ~TrayMenuHolder() override;
  TrayMenuHolder(const TrayMenuHolder&) = delete;
  TrayMenuHolder& operator=(const TrayMenuHolder&) = delete;

  // Opens what the command line asks for in a session, shows or hides the icon
  // and brings the tray forward. False when the tray is shutting down, else
  // true, whatever came of the command.
  bool process_runcmd(const std::wstring& cmd_line);

  // The holder of a configuration, made at its first use; valid until the tray
  // ends. Null when there is no memory for it.
  VelSessionHolder* get_session_holder(const wchar_t* config);

  // IVelSessionHost. The statuses are those of vel/IVelPlugin.h.
  std::uint32_t need_session(const wchar_t* config) override;
  std::uint32_t close_session(const wchar_t* config,
                              std::uint32_t shutdown_type) override;
  std::uint32_t shutdown(std::uint32_t shutdown_type) override;
  void set_notify_hint(std::uint32_t id, const wchar_t* hint) override;
  void set_notify_icon(std::uint32_t id, HICON icon) override;
  void on_session_startup(IVelSession* session, const wchar_t* config) override;
  void on_session_shutdown(IVelSession* session) override;
  bool query_session_shutdown(IVelSession* session,
                              std::uint32_t shutdown_type) override;

  // IVelMenuItemHandler: the menu's Exit item.
  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override;

  // IVelGuiIpc: runs the command on a thread of its own and waits for it.
  std::uint32_t on_gui_ipc(std::uint32_t command,
                           const std::wstring& text) override;

  // VelPipeServer: one GUI API pipe for each Windows session.
  void GetPipeName(wchar_t* buffer, std::size_t size) override;
  // PipeCommandHandler. A result of on_gui_ipc that isn't negative goes back
  // raised by 1, so that a client can tell 0 from no reply.
  std::intptr_t OnPipeCommand(std::uint32_t command,
                              const std::wstring& args) override;

 private:
  // The id that changes no hint or icon, but shows anew what there is.
  static constexpr std::uint32_t kRefreshOnly = 0xFFFFFFFF;

  struct ConfigLess {
    bool operator()(const std::wstring& a, const std::wstring& b) const {
      return _wcsicmp(a.c_str(), b.c_str()) < 0;
    }
  };

  // Fills the fields and starts nothing. The public constructor goes on from
  // there, so that the destructor stops what runs already when it throws.
  struct FieldsOnly {};
  TrayMenuHolder(OwnerCallback* owner_callback, FieldsOnly);

  std::uint32_t OnGuiIpc(std::uint32_t command, const std::wstring& text);
  std::uint32_t dispatch_command(std::uint32_t command,
                                 const std::wstring& text);
  bool run_block_command(std::uint32_t command, const std::wstring& text,
                         const std::wstring& tag);
  std::uint32_t soft_shutdown(const std::wstring& text);

  std::uint32_t internal_close_session(const wchar_t* config,
                                       std::uint32_t shutdown_type);
  void take_shutdown_back();
  void start_service_watch();
  void make_tray_icon();
  // False when the window thread hasn't ended in the time.
  bool end_window_thread(DWORD timeout_ms);
  void remove_tray_icon();
  // Null stands for no icon yet, or no more: nothing is built.
  void build_popup_menu(VELTrayIcon* icon) VEL_REQUIRES(_popup_lock);
  std::wstring merged_tip() const VEL_REQUIRES(_notify_lock);
  void show_icon_as_asked(const std::wstring& cmd_line);
  void bring_to_foreground();
  static unsigned __stdcall svc_reinit_thread(void* self);
  void svc_reinit_proc();
  // Only the main thread's destructor takes the icon away, and only after
  // everything that uses the pointer has ended; so no owner is handed out.
  VELTrayIcon* tray_icon();

  VelFastMutex _popup_lock;
  VelRWLock _sessions_lock;
  VelFastMutex _notify_lock;
  // Constant after construction, but for the watch thread's _svc_process.
  SharedHandle _svc_reinit_thread;
  SharedHandle _stop_event;
  SharedHandle _svc_process;
  std::map<std::wstring, std::shared_ptr<VelSessionHolder>, ConfigLess>
      _sessions VEL_GUARDED_BY(_sessions_lock);
  VelPluginsCtl _plugins;
  const HICON _default_icon;
  std::map<std::uint32_t, std::wstring> _notify_hints
      VEL_GUARDED_BY(_notify_lock);
  std::map<std::uint32_t, HICON> _notify_icons VEL_GUARDED_BY(_notify_lock);
  std::shared_ptr<VELTrayIcon> _tray_icon VEL_GUARDED_BY(_notify_lock);
  // A shutdown is under way: nothing new is started, no menu is built.
  std::atomic<bool> _shutting_down{false};
  // A shutdown was ordered from outside. Cleared only by a refused soft
  // shutdown: after a refused VELGUI_IPC_SHUTDOWN need_session goes on
  // refusing.
  std::atomic<bool> _sys_shutdown{false};
  const DWORD _main_thread_id;
  std::atomic<std::uint32_t> _runcmd_seen{0};
  const std::uint32_t _session_id;
  SessionWaits _session_waits;
  ExitTask _exit_task{this};
};

}  // namespace vel

#endif  // VEL_TRAY_TRAYMENUHOLDER_H_
