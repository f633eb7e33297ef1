// Who may have the process do something for him.
//
// No state, any thread.
#ifndef VEL_SECURITY_CLIENTRIGHTS_H_
#define VEL_SECURITY_CLIENTRIGHTS_H_

#include <windows.h>

namespace vel {

// Whether the account `who` is `user` or the system account. False for null.
bool SidMayActFor(PSID who, PSID user);
// The same for the user of `token`, which needs TOKEN_QUERY; whoever is an
// administrator in it, for more than denials, may as well. Neither the
// integrity level nor restricting SIDs count. False when the token can't be
// read.
bool TokenMayActFor(HANDLE token, PSID user);
// Whether whom the calling thread impersonates may act for the process's user.
// False, with the last error set, when the thread has no token that can be
// opened, as for an anonymous client.
bool ImpersonatedMayActForProcess();

}  // namespace vel

#endif  // VEL_SECURITY_CLIENTRIGHTS_H_
