// The only window of the tray process, its thread, its icon in the
// notification area and the popup menu.
//
// The window is hidden and does three jobs besides the icon: other programs
// find it by its class and send it WM_COPYDATA, Windows asks it whether the
// user's session may end, and it brings the icon back when the shell has died.
//
// The window thread only receives, passes on and draws. It waits in two places:
// for a command that came by WM_COPYDATA, and, dispatching messages meanwhile,
// for the answer to WM_QUERYENDSESSION.
#ifndef VEL_TRAY_VELTRAYICON_H_
#define VEL_TRAY_VELTRAYICON_H_

#include <windows.h>
#include <shellapi.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sync/ScopedHandle.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"
#include "tray/IVelGuiIpc.h"
#include "tray/TrayMessages.h"
#include "vel/IVelDialogFactory.h"
#include "vel/IVelTrayMenu.h"

namespace vel {

// The owner of the icon. All of it runs on the window thread, which nothing may
// keep waiting.
struct TrayMenuOwner {
  // Adds all items by add_menu_item, before each showing.
  void (*build_menu)(void* arg) = nullptr;
  // Somebody wants the window closed: the tray is to end as by the menu's Exit.
  void (*request_exit)(void* arg) = nullptr;
  // The window thread ends without having been asked to: nobody can reach the
  // tray any more.
  void (*window_lost)(void* arg) = nullptr;
  void* arg = nullptr;
};

// Make it with new, not make_shared: the window keeps the object's address in
// 32 bits, so the class places itself below 2 GiB.
class VELTrayIcon : public IVelTrayMenu {
 public:
  static void* operator new(std::size_t size);
  static void operator delete(void* memory) noexcept;

  // Starts the window thread and returns when the window exists, or couldn't
  // be made; everything else works without it. `ipc` receives the commands; it
  // and the owner outlive the object. `icon` isn't owned. The icon is hidden at
  // first. Throws std::runtime_error when the thread can't be started.
  VELTrayIcon(IVelGuiIpc* ipc, HICON icon, const std::wstring& tip,
              const TrayMenuOwner& owner);
  // Ends the window thread and waits for it. Not on the window thread.
  ~VELTrayIcon();
  VELTrayIcon(const VELTrayIcon&) = delete;
  VELTrayIcon& operator=(const VELTrayIcon&) = delete;

  // Any thread; waits while the popup is open or being built by another one.
  void add_menu_item(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
                     const wchar_t* text, IVelMenuItemHandler* handler,
                     bool flag) override;

  // The operations on the icon may be called on any thread and return at once.
  // The order of the calls is the order in which they take effect.

  // The window shows the first 127 characters.
  void set_tip(const std::wstring& text);
  // `icon` isn't owned and must live until it has been replaced.
  void set_icon(HICON icon);
  // From now on no item and no balloon reaches its handler, whenever it was
  // added, and no menu is shown: for the time when those who added them are
  // about to go. A call into a handler that has begun goes on.
  void detach_menu_handlers();
  // Closes a menu that is open. Returns when that is done, or after a second.
  void close_menu();
  // Ends the window thread. False when it hasn't ended in the time, INFINITE
  // for no limit. Not on the window thread.
  bool end_thread(DWORD timeout_ms);
  void set_visible(bool on);
  // Shows up to 255 characters of text. `handler` may be null; it is told of
  // a click on the balloon, on the window thread, until the next balloon.
  // `info_flags` are the NIIF_ flags of the shell.
  void show_balloon(const std::wstring& text, IVelMenuItemHandler* handler,
                    std::uint32_t info_flags);

  // Null when the window couldn't be made.
  HWND window() const { return _nid.hWnd; }

 private:
  class MenuHandlerRef;

  static unsigned __stdcall tray_window_thread(void* self);
  static unsigned __stdcall query_end_thread(void* unused);
  static void __cdecl s_hack_update_icon_thread(void* window);
  static LRESULT CALLBACK tray_window_proc(HWND window, UINT message,
                                           WPARAM wparam,
                                           LPARAM lparam) noexcept;

  // Any thread. post is false, with the last error set, without a window.
  bool post(UINT message, WPARAM wparam, LPARAM lparam) const;
  void post_quit() const;
  void make_menu();  // with _menu_mutex held

  // The rest is for the window thread.
  void create_window();
  // False when the loop has ended without WM_QUIT, with the last error set.
  bool run_message_loop();
  LRESULT handle_message(HWND window, UINT message, WPARAM wparam,
                         LPARAM lparam);

  LRESULT on_query_end_session(WPARAM wparam, LPARAM lparam);
  LRESULT on_end_session(WPARAM wparam, LPARAM lparam);
  LRESULT on_close();
  LRESULT on_close_menu();
  LRESULT on_copy_data(const COPYDATASTRUCT* data);
  LRESULT on_tray_mouse(WPARAM icon_id, LPARAM mouse_message);
  LRESULT on_set_tip(const wchar_t* text);
  LRESULT on_set_icon(HICON icon);
  LRESULT on_show_balloon(NOTIFYICONDATAW* record,
                          IVelMenuItemHandler* handler);
  LRESULT query_end_session();

  void refresh_icon();
  void request_refresh();

  void arm_click_timer(bool on);
  void on_click_timer();
  void show_popup();
  void run_default_item();
  template <typename Action>
  void with_prepared_menu(Action action);
  void prepare_menu();

  // Constant once the window exists.
  SharedHandle _thread;
  SharedHandle _ready_event;
  // Window thread only, but for hWnd, which doesn't change any more.
  NOTIFYICONDATAW _nid{};
  bool _menu_open = false;
  DWORD _next_default_tick = 0;
  // Changed with _menu_mutex held, too.
  VelFastMutex _handlers_lock;
  std::vector<std::shared_ptr<MenuHandlerRef>> _menu_handlers
      VEL_GUARDED_BY(_handlers_lock);
  // Set under _handlers_lock, and for good.
  std::atomic<bool> _handlers_detached{false};
  // Constant.
  void (*_build_menu)(void* arg);
  void* _build_menu_arg;
  // Window thread only.
  bool _query_end_pending = false;
  IVelMenuItemHandler* _balloon_handler = nullptr;
  // Constant. A system mutex, since its owner comes back to it: the plug-ins
  // add their items while show_popup holds it.
  ScopedHandle _menu_mutex;
  // Guarded by _menu_mutex.
  std::shared_ptr<IVelPopupMenu> _menu;
  // Constant.
  IVelGuiIpc* _ipc;
  // Window thread only.
  int _click_count = 0;
  // The icon is wanted; written by any thread.
  std::atomic<bool> _icon_visible{false};
  // Window thread only. A belief: wrong after a crash of the shell, until its
  // TaskbarCreated message sets it right.
  bool _icon_added = false;
  // Constant.
  void (*_request_exit)(void* arg);
  void (*_window_lost)(void* arg);
};

}  // namespace vel

#endif  // VEL_TRAY_VELTRAYICON_H_
