// TrayMenuHolder: what the plug-ins want of the one icon and the one tooltip.
// The lock is held across the posts, so that the window gets the changes in the
// order of the calls. What memory can't hold isn't shown: no exception goes to
// a plug-in.
#include "foundation/I18N.h"
#include "log/VelLog.h"
#include "tray/TrayMenuHolder.h"
#include "tray/VELTrayIcon.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

constexpr wchar_t kLineEnd[] = L"\r\n";

}  // namespace

void TrayMenuHolder::set_notify_hint(std::uint32_t id, const wchar_t* hint) {
  VelLog_Print(kLogTrace, L"TrayMenuHolder::set_notify_hint id=%i hint='%s' ",
               id, hint);
  const VelFastMutex::Scope scope(_notify_lock);
  try {
    if (id != kRefreshOnly) {
      if (hint == nullptr || *hint == L'\0') {
        _notify_hints.erase(id);
      } else {
        _notify_hints.insert_or_assign(id, hint);
      }
    }
    if (_tray_icon) _tray_icon->set_tip(merged_tip());
  } catch (const std::bad_alloc&) {
  }
}

// During a shutdown the plug-ins' hints aren't shown. The window cuts what is
// too long, so the hints of the last plug-ins are the ones lost.
std::wstring TrayMenuHolder::merged_tip() const {
  std::wstring tip = load_string(VEL_STRING_PRODUCT_NAME);
  if (_shutting_down) {
    return tip + kLineEnd + load_string(VEL_STRING_SHUTTING_DOWN);
  }
  for (const auto& [id, hint] : _notify_hints) tip += kLineEnd + hint;
  return tip;
}

void TrayMenuHolder::set_notify_icon(std::uint32_t id, HICON icon) {
  VelLog_Print(kLogTrace, L"TrayMenuHolder::set_notify_icon id=%i icon=%x", id,
               static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(icon)));
  const VelFastMutex::Scope scope(_notify_lock);
  try {
    if (id != kRefreshOnly) {
      if (icon == nullptr) {
        _notify_icons.erase(id);
      } else {
        _notify_icons[id] = icon;
      }
    }
  } catch (const std::bad_alloc&) {
  }
  if (!_tray_icon) return;
  _tray_icon->set_icon(_notify_icons.empty() ? _default_icon
                                             : _notify_icons.rbegin()->second);
}

}  // namespace vel
