// Ready security descriptors for the objects that the program creates.
//
// Each is in absolute form, made on first use; it and what it points to belong
// to this module and are freed when the exit handlers run. Not for writing.
// Null when it can't be made, and the next call tries again; an object that is
// created without it has the process's default security. Nothing is logged, the
// thread's last error is kept. Any thread; a call after the first costs a lock
// and a load.
#ifndef VEL_SECURITY_DESCRIPTORS_H_
#define VEL_SECURITY_DESCRIPTORS_H_

#include <windows.h>

namespace vel {

// DaclUser, and the low-integrity label where the system has labels: for what
// low-integrity clients write to, such as the pipes.
PSECURITY_DESCRIPTOR GetSecurityDescriptorUserLow();
// DaclUser without a label.
PSECURITY_DESCRIPTOR GetSecurityDescriptorUser();
// DaclSystem without a label.
PSECURITY_DESCRIPTOR GetSecurityDescriptorSystem();

}  // namespace vel

#endif  // VEL_SECURITY_DESCRIPTORS_H_
