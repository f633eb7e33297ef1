#include "tray/ServiceWatch.h"

#include "foundation/NotBuilt.h"
#include "tray/TrayMenuHolder.h"

namespace vel {

HANDLE svc_send_init() {
  report_not_built("svc_send_init");
  return nullptr;
}

void TrayMenuHolder::svc_reinit_proc() {
  report_not_built("TrayMenuHolder::svc_reinit_proc");
}

}  // namespace vel
