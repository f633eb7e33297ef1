// TrayMenuHolder: carrying out a run command.
#include <memory>

#include "foundation/CommandLine.h"
#include "log/VelLog.h"
#include "sync/VelTask.h"
#include "tray/RunCommand.h"
#include "tray/TrayMenuHolder.h"
#include "tray/VELTrayIcon.h"

namespace vel {
namespace {

constexpr wchar_t kIconKey[] = L"icon";
constexpr wchar_t kIconHidden[] = L"hidden";

// Holds the window only, since it may run later than the tray icon lives; a
// window that is gone does no harm.
class ForegroundTask : public SelfDeletingTask {
 public:
  explicit ForegroundTask(HWND window) : _window(window) {}

 protected:
  void run() override { SetForegroundWindow(_window); }

 private:
  const HWND _window;
};

}  // namespace

bool TrayMenuHolder::process_runcmd(const std::wstring& cmd_line) {
  if (_shutting_down) return false;
  show_icon_as_asked(cmd_line);
  VelLog_Print(kLogNotice, L"TrayMenuHolder::process_runcmd cmd_line='%s' ",
               cmd_line.c_str());
  const RunCommand command = parse_runcmd(cmd_line);
  if (command.has_action) {
    VelSessionHolder* const holder = get_session_holder(command.config.c_str());
    if (holder != nullptr) {
      holder->start_app(command.verb, command.file, command.parameters,
                        command.directory, command.class_name);
    }
  }
  bring_to_foreground();
  return true;
}

// The first command of the tray's life shows the icon unless it says otherwise;
// each later one changes it only by saying so. A command that comes before the
// icon exists uses up the first one's treatment.
void TrayMenuHolder::show_icon_as_asked(const std::wstring& cmd_line) {
  const bool first = _runcmd_seen.exchange(1) == 0;
  const std::wstring icon_wish = get_param(cmd_line, kIconKey);
  if (!first && icon_wish.empty()) return;
  VELTrayIcon* const icon = tray_icon();
  if (icon != nullptr) icon->set_visible(icon_wish != kIconHidden);
}

void TrayMenuHolder::bring_to_foreground() {
  VELTrayIcon* const icon = tray_icon();
  if (icon == nullptr) return;
  auto task = std::make_unique<ForegroundTask>(icon->window());
  // A task that runs is its own.
  if (task->start()) (void)task.release();
}

}  // namespace vel
