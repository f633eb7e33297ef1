#ifndef VEL_TRAY_EXITTASK_H_
#define VEL_TRAY_EXITTASK_H_

#include "sync/VelTask.h"
#include "vel/IVelTrayMenu.h"

namespace vel {

// Asks for the tray's end as the menu's Exit does, on a pool thread: the answer
// of the plug-ins may take its time.
class ExitTask : public VelTask {
 public:
  // `exit` is the handler of the Exit item; not owned, and outlives the task.
  explicit ExitTask(IVelMenuItemHandler* exit) : _exit(exit) {}

  // Does nothing while an earlier request is under way. For one thread at a
  // time. A pool that doesn't take it is logged.
  void request();

 protected:
  void run() override;

 private:
  IVelMenuItemHandler* const _exit;
};

}  // namespace vel

#endif  // VEL_TRAY_EXITTASK_H_
