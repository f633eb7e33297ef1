// The SIDs that are the same on every machine.
//
// Each is made on first use and belongs to this module, which frees it when the
// exit handlers run. Null when it can't be made; the next call tries again.
// Nothing is logged and the thread's last error is kept, so that a caller with
// a failure to report can ask for one. Any thread.
#ifndef VEL_SECURITY_WELLKNOWNSIDS_H_
#define VEL_SECURITY_WELLKNOWNSIDS_H_

#include <windows.h>

namespace vel {

PSID LookupSidLocal();           // S-1-2-0, local logons
PSID LookupSidEveryone();        // S-1-1-0
PSID LookupSidRestricted();      // S-1-5-12, restricted code
PSID LookupSidSystem();          // S-1-5-18, the system account
PSID LookupSidInteractive();     // S-1-5-4, interactive users
PSID LookupSidAdministrators();  // S-1-5-32-544

}  // namespace vel

#endif  // VEL_SECURITY_WELLKNOWNSIDS_H_
