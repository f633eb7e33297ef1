// Setting the access lists of open objects, which is for the system's other
// programs, and asking who owns one. No state, any thread.
#ifndef VEL_SECURITY_OBJECTSECURITY_H_
#define VEL_SECURITY_OBJECTSECURITY_H_

#include <windows.h>

namespace vel {

// Lets everyone have `mask`, low-integrity processes included, and nobody
// anything else. A step that fails is logged, and the next is done all the
// same. `handle` is a kernel object with WRITE_DAC and WRITE_OWNER.
void SetObjectSecurityEveryone(HANDLE handle, DWORD mask);

// Gives the object the list that `token`, null for OpenCurrentToken(), has for
// new objects. False, with the last error, when a step fails; a token without a
// list gives ERROR_NO_SECURITY_ON_OBJECT and leaves the object as it is, for a
// null list would open it to everyone. `handle` needs WRITE_DAC, `token`
// TOKEN_QUERY.
bool SetObjectDefaultDacl(HANDLE handle, HANDLE token);

// Whether the owner of the object is the token's user or its owner for new
// objects. The last error tells a failure; it is ERROR_INVALID_OWNER when
// somebody else owns the object. `handle` needs READ_CONTROL, `token`
// TOKEN_QUERY.
bool IsOwnedByToken(HANDLE handle, HANDLE token);

}  // namespace vel

#endif  // VEL_SECURITY_OBJECTSECURITY_H_
