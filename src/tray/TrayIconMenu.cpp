// VELTrayIcon: the mouse on the icon, and the popup menu.
#include <atomic>
#include <cstddef>
#include <new>

#include "foundation/DialogFactory.h"
#include "tray/VELTrayIcon.h"

namespace vel {
namespace {

constexpr UINT kMenuClosePatience = 1000;  // ms

class [[nodiscard]] MutexScope {
 public:
  [[nodiscard]] explicit MutexScope(HANDLE mutex) : _mutex(mutex) {
    WaitForSingleObject(_mutex, INFINITE);
  }
  ~MutexScope() { ReleaseMutex(_mutex); }
  MutexScope(const MutexScope&) = delete;
  MutexScope& operator=(const MutexScope&) = delete;

 private:
  const HANDLE _mutex;
};

// A limit is never set further ahead than this, so a tick count that is more
// than that short of it has passed it, however long ago.
DWORD longest_delay() {
  return 2 * GetDoubleClickTime();
}
bool is_past(DWORD tick, DWORD limit) {
  return limit - tick > longest_delay();
}

}  // namespace

// Stands between the menu and the one who added the item. It lives until the
// menu is built anew, so that the menu never holds a pointer that was freed;
// without its handler it does nothing.
class VELTrayIcon::MenuHandlerRef : public IVelMenuItemHandler {
 public:
  explicit MenuHandlerRef(IVelMenuItemHandler* handler) : _handler(handler) {}

  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override {
    IVelMenuItemHandler* const handler = _handler;
    if (handler != nullptr) handler->on_menu_event(event, id, param);
  }
  void detach() { _handler = nullptr; }

 private:
  std::atomic<IVelMenuItemHandler*> _handler;
};

LRESULT VELTrayIcon::on_tray_mouse(WPARAM icon_id, LPARAM mouse_message) {
  switch (mouse_message) {
    case WM_LBUTTONUP:
      arm_click_timer(true);
      break;
    case WM_RBUTTONUP:
      show_popup();
      break;
    case NIN_BALLOONUSERCLICK:
      if (_balloon_handler != nullptr && !_handlers_detached) {
        _balloon_handler->on_menu_event(VEL_MENU_EVENT_BALLOON_CLICK,
                                        VEL_BALLOON_CLICK_ID, icon_id);
      }
      break;
    default:
      break;
  }
  return 1;
}

void VELTrayIcon::arm_click_timer(bool on) {
  if (_click_count != 0) KillTimer(window(), kTrayClickTimer);
  if (on) {
    SetTimer(window(), kTrayClickTimer, GetDoubleClickTime(), nullptr);
    ++_click_count;
  } else {
    _click_count = 0;
  }
}

// The system's own double-click message isn't used: the timer sees both kinds.
void VELTrayIcon::on_click_timer() {
  const int clicks = _click_count;
  KillTimer(window(), kTrayClickTimer);
  _click_count = 0;
  if (clicks == 1) {
    show_popup();
  } else if (clicks > 1) {
    run_default_item();
  }
}

template <typename Action>
void VELTrayIcon::with_prepared_menu(Action action) {
  const MutexScope scope(_menu_mutex.get());
  _menu_open = true;
  prepare_menu();
  if (_menu && !_handlers_detached) action(*_menu);
  _menu_open = false;
}

void VELTrayIcon::show_popup() {
  if (_menu_open) return;
  POINT point{};
  GetCursorPos(&point);
  with_prepared_menu(
      [&](IVelPopupMenu& menu) { menu.show_at(&point, window()); });
}

// A double click right after another one is ignored.
void VELTrayIcon::run_default_item() {
  if (_menu_open) return;
  if (is_past(GetTickCount(), _next_default_tick)) {
    with_prepared_menu(
        [](IVelPopupMenu& menu) { menu.run_default(VEL_MENU_ITEM_BOLD); });
  }
  _next_default_tick = GetTickCount() + longest_delay();
}

void VELTrayIcon::prepare_menu() {
  if (_build_menu == nullptr) return;
  make_menu();
  if (!_menu) return;
  _menu->clear_items();
  {
    const VelFastMutex::Scope scope(_handlers_lock);
    _menu_handlers.clear();
  }
  _build_menu(_build_menu_arg);
}

void VELTrayIcon::make_menu() {
  if (_menu) return;
  IVelDialogFactory* const factory = dialog_factory();
  if (factory == nullptr) return;
  IVelPopupMenu* const menu = factory->create_menu();
  if (menu == nullptr) return;
  _menu = std::shared_ptr<IVelPopupMenu>(
      menu, [](IVelPopupMenu* ended) { ended->release(); });
}

void VELTrayIcon::add_menu_item(std::uint32_t parent, std::uint32_t type,
                                std::uint32_t id, const wchar_t* text,
                                IVelMenuItemHandler* handler, bool flag) {
  const MutexScope scope(_menu_mutex.get());
  try {
    std::wstring shown(text != nullptr ? text : L"");
    if (type == VEL_MENU_ITEM_BOLD) shown = L"<b>" + shown + L"</b>";
    const auto reference = std::make_shared<MenuHandlerRef>(handler);
    {
      const VelFastMutex::Scope handlers(_handlers_lock);
      if (_handlers_detached) reference->detach();
      _menu_handlers.push_back(reference);
    }
    make_menu();
    if (_menu) {
      _menu->add_item(parent, type, id, shown.c_str(), reference.get(), flag);
    }
  } catch (const std::bad_alloc&) {
    // The menu lacks this item. No exception goes to a plug-in.
  }
}

void VELTrayIcon::detach_menu_handlers() {
  const VelFastMutex::Scope scope(_handlers_lock);
  _handlers_detached = true;
  for (const auto& reference : _menu_handlers) reference->detach();
}

void VELTrayIcon::close_menu() {
  if (window() == nullptr) return;
  DWORD_PTR closed = 0;
  SendMessageTimeoutW(window(), kTrayCloseMenuMessage, 0, 0, SMTO_NORMAL,
                      kMenuClosePatience, &closed);
}

// Inside the menu's own message loop. A menu that isn't a native one gets the
// message, too.
LRESULT VELTrayIcon::on_close_menu() {
  if (_menu_open) {
    SendMessageW(window(), WM_CANCELMODE, 0, 0);
    EndMenu();
  }
  return 1;
}

}  // namespace vel
