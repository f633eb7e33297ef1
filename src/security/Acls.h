// The two fixed access lists, and the true size of a list in a larger block.
#ifndef VEL_SECURITY_ACLS_H_
#define VEL_SECURITY_ACLS_H_

#include <windows.h>

namespace vel {

// The lists grant GENERIC_ALL to each of their accounts and nothing to anybody
// else. They are made on first use, belong to this module and are freed when
// the exit handlers run; their size field counts the whole block. An account
// whose SID can't be had is left out. Null, never an empty list, when none can;
// take care not to put a null list on an object: it lets everyone in. The
// thread's last error is kept. Any thread.

// The system account and the administrators.
ACL* DaclSystem();
// The current user, interactive users, local logons and the administrators.
ACL* DaclUser();

// The bytes that `acl` really takes: its header and its entries; 0 for null.
WORD AclUsedSize(ACL* acl);
// Puts AclUsedSize into the list's own size field. Null is passed over.
void AclFixSize(ACL* acl);

}  // namespace vel

#endif  // VEL_SECURITY_ACLS_H_
