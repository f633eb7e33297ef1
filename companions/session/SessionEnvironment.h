// The environment of a session's processes.
#ifndef VEL_COMPANIONS_SESSION_SESSIONENVIRONMENT_H_
#define VEL_COMPANIONS_SESSION_SESSIONENVIRONMENT_H_

#include <string>
#include <utility>
#include <vector>

namespace velul {

using EnvironmentChanges = std::vector<std::pair<std::wstring, std::wstring>>;

// This process's environment with `changes` made, as a block for
// CreateProcessW with CREATE_UNICODE_ENVIRONMENT. Names are compared without
// regard to case; an empty value removes the name.
std::wstring make_environment(const EnvironmentChanges& changes);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_SESSIONENVIRONMENT_H_
