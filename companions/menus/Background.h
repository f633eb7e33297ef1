// Where the plug-in's work runs: not on the tray's window thread, and not past
// the plug-in's own unloading.
//
// A task goes to the system's pool. A dialog has a thread of its own, one for
// each kind. Both hold the library in memory until they have left its code,
// and both are counted, so that the tray asks again before it unloads.
#ifndef VEL_COMPANIONS_MENUS_BACKGROUND_H_
#define VEL_COMPANIONS_MENUS_BACKGROUND_H_

#include <functional>

namespace velmenus::background {

using Work = std::function<void()>;

enum class Dialog { kOpenFile, kConfigure, kAbout, kMessage, kCount };

// Lets work begin; the state at the load.
void open();
// Refuses new work and asks the open dialogs to close. Doesn't wait.
void close();

// False when the task couldn't be started, or after close.
bool run_task(Work work);
// Runs `work`, which shows a dialog without an owner and returns when it has
// closed. A dialog of that kind which is open already comes to the front
// instead. COM is ready on the thread.
bool open_dialog(Dialog dialog, Work work);

// How many tasks and dialogs there are. After close, this asks the dialogs
// again.
long running();

}  // namespace velmenus::background

#endif  // VEL_COMPANIONS_MENUS_BACKGROUND_H_
