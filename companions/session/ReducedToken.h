// The rights that a session's processes start with.
#ifndef VEL_COMPANIONS_SESSION_REDUCEDTOKEN_H_
#define VEL_COMPANIONS_SESSION_REDUCEDTOKEN_H_

#include "common/UniqueHandle.h"

namespace velul {

// Makes a primary token of this process's user for CreateProcessAsUserW: no
// privileges but the one to traverse folders, administrators for denying only,
// the user as the owner of what is made, and an integrity of at most medium.
//
// `low_integrity` takes the label down to low. That isn't the usual choice,
// since such a process can write next to nowhere: browsers don't even open
// their profiles.
//
// Empty with the last error when the system doesn't give one.
companion::UniqueHandle make_reduced_token(bool low_integrity);

// Whether the sessions of `config` are to run at low integrity: the DWORD
// named `config` under Software\Tessavane\VEL\VELULLowIntegrity, in the user's
// hive or else in the machine's, isn't 0.
bool wants_low_integrity(const wchar_t* config);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_REDUCEDTOKEN_H_
