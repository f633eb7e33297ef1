// The SIDs of two accounts: the user's and the product's own group.
//
// They belong to this module, which frees them when the exit handlers run.
// Until then a pointer stays valid. A null result isn't remembered: the next
// call starts again. The thread's last error is kept. Any thread.
#ifndef VEL_SECURITY_ACCOUNTSIDS_H_
#define VEL_SECURITY_ACCOUNTSIDS_H_

#include <windows.h>

namespace vel {

// The local group that restricted processes are granted access through.
inline constexpr wchar_t kRestrictedGroup[] = L"_VEL_RESTRICTED_GROUP_";
// The machine's value, below the product's key, that holds the group's SID in
// binary form. The installation writes it.
inline constexpr wchar_t kRestrictedGroupSidValue[] = L"RestrictedGroupSid";

// The user of the process's token; a failure is logged.
PSID LookupSidCurrentUser();

// The SID of the restricted group: from the registry, else by its name from
// the account database of this machine. Null where the group doesn't exist.
PSID LookupSidVel();

}  // namespace vel

#endif  // VEL_SECURITY_ACCOUNTSIDS_H_
