// The privileges of this process.
#ifndef VEL_SECURITY_VELUTILSSECURITY_H_
#define VEL_SECURITY_VELUTILSSECURITY_H_

namespace vel {

// Enables SeDebugPrivilege in the process's token. False when the token can't
// be opened or doesn't hold the privilege; the last error tells why, with
// ERROR_NOT_ALL_ASSIGNED for the second case.
bool EnableDebugPrivilege();

}  // namespace vel

#endif  // VEL_SECURITY_VELUTILSSECURITY_H_
