// VELTrayIcon: whether, and as what, the icon stands in the notification area.
#include <process.h>

#include <atomic>
#include <cstdlib>
#include <memory>

#include "foundation/I18N.h"
#include "log/VelLog.h"
#include "tray/NotifyRecord.h"
#include "tray/ShellNotify.h"
#include "tray/VELTrayIcon.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

constexpr int kMaxRetryThreads = 4;
constexpr DWORD kRetryTime = 1000;  // ms, shared by the threads at work

std::atomic<int> s_retry_threads{0};

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

void VELTrayIcon::request_refresh() {
  SendMessageW(window(), taskbar_created_message, 0, 0);
}

// The one place that decides. It runs when the shell has come up, at the start,
// and after each change of tip, icon and visibility. That the add fails since
// the icon is there already is the normal case.
void VELTrayIcon::refresh_icon() {
  if (_icon_visible) {
    _icon_added = true;
    if (!invoke_Shell_NotifyIcon(NIM_ADD, _nid) &&
        !invoke_Shell_NotifyIcon(NIM_MODIFY, _nid)) {
      _beginthread(s_hack_update_icon_thread, 0, window());
    }
  } else if (_icon_added) {
    _icon_added = false;
    invoke_Shell_NotifyIcon(NIM_DELETE, _nid);
  }
}

// For the time just after logon, when the shell isn't ready and refuses the
// icon. The more of these threads wait, the sooner each tries again.
void __cdecl VELTrayIcon::s_hack_update_icon_thread(void* window) {
  const auto target = static_cast<HWND>(window);
  const int n = ++s_retry_threads;
  VelLog_Print(kLogWarning,
               L"VELTrayIcon::s_hack_update_icon_thread entered_counter=%i", n);
  const bool at_work = n <= kMaxRetryThreads;
  if (at_work) {
    const DWORD pause = kRetryTime / static_cast<DWORD>(n);
    Sleep(pause);
    PostMessageW(target, taskbar_created_message, 0, 0);
    Sleep(pause);
  }
  --s_retry_threads;
  if (at_work) PostMessageW(target, taskbar_created_message, 0, 0);
}

LRESULT VELTrayIcon::on_show_balloon(NOTIFYICONDATAW* record,
                                     IVelMenuItemHandler* handler) {
  const std::unique_ptr<NOTIFYICONDATAW, FreeMemory> balloon(record);
  // A fresh icon, so that no old balloon blocks this one.
  invoke_Shell_NotifyIcon(NIM_DELETE, _nid);
  invoke_Shell_NotifyIcon(NIM_ADD, _nid);
  _icon_added = true;
  _balloon_handler = handler;

  NOTIFYICONDATAW data = _nid;
  data.uFlags = NIF_INFO;
  data.dwInfoFlags = balloon->dwInfoFlags;
  copy_text(data.szInfoTitle, load_string(VEL_STRING_PRODUCT_NAME).c_str());
  copy_text(data.szInfo, balloon->szInfo);
  invoke_Shell_NotifyIcon(NIM_MODIFY, data);
  // A balloon can come from a hidden icon, which goes again with this.
  if (!_icon_visible) post(taskbar_created_message, 0, 0);
  return 1;
}

}  // namespace vel
