// Makes Firefox take up the extensions that the installer put in place: once
// for each request and user.
#ifndef VEL_BROWSER_FIREFOXHACKS_H_
#define VEL_BROWSER_FIREFOXHACKS_H_

namespace vel {

// Asks all users for an update: each carries it out once, at the next start of
// the program in his session. Needs write access to the machine's settings.
void NeedUpdateExtensions();

// Carries out an update request that this user hasn't gone through yet: drops
// the component caches of the user's profiles and runs Firefox once where
// nobody sees it. Blocks meanwhile, up to a few minutes. Failures are logged
// and leave the request open for the next start; as the system account nothing
// is done.
void CheckForUpdateExtensions();

// The user has gone through the machine's request.
void MarkUpdateApplied();

}  // namespace vel

#endif  // VEL_BROWSER_FIREFOXHACKS_H_
