#include "tray/ExitTask.h"

#include "log/VelLog.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\ExitTask";

}  // namespace

void ExitTask::request() {
  if (!is_running() && !start()) VEL_LOG_WIN32_CALL();
}

void ExitTask::run() {
  _exit->on_menu_event(VEL_MENU_EVENT_CHOSEN, 0, 0);
}

}  // namespace vel
