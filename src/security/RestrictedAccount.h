// The local group that restricted processes carry in their tokens, and what
// earlier installations left behind in its stead. LookupSidVel gives its SID.
// No state of its own, any thread.
#ifndef VEL_SECURITY_RESTRICTEDACCOUNT_H_
#define VEL_SECURITY_RESTRICTEDACCOUNT_H_

namespace vel {

// The install step, for an administrator: removes the old account, creates the
// group and keeps its SID in the registry. A group that is there already is
// fine. False when the group's SID can't be had afterwards.
bool create_group();

// The uninstall step: removes the account of earlier installations, and the
// user's settings of it. True also when there was none; false when it is there
// and can't be removed.
bool delete_account();

// The uninstall step: removes the service of earlier installations. True also
// when there was none; false when the service manager doesn't let the caller in
// or the service can't be deleted.
bool delete_old_service();

// Grants the group access to the user's temporary directories and publishes its
// security identifier for the user. With `force` the grants are made anew also
// where they seem to be in place. Failures are logged and change nothing else.
void init_group(bool force);

}  // namespace vel

#endif  // VEL_SECURITY_RESTRICTEDACCOUNT_H_
