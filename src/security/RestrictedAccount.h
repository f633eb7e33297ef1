// The local group that restricted processes carry in their tokens.
#ifndef VEL_SECURITY_RESTRICTEDACCOUNT_H_
#define VEL_SECURITY_RESTRICTEDACCOUNT_H_

namespace vel {

bool create_group();
bool delete_account();
bool delete_old_service();

// Grants the group access to the user's temporary directories and publishes its
// security identifier for the user. With `force` the grants are made anew also
// where they seem to be in place. Failures are logged and change nothing else.
void init_group(bool force);

}  // namespace vel

#endif  // VEL_SECURITY_RESTRICTEDACCOUNT_H_
