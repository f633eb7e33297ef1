// The version bookkeeping of a tray run.
#ifndef VEL_PROCESS_VERSIONSTATE_H_
#define VEL_PROCESS_VERSIONSTATE_H_

namespace vel {

// Makes the version marker, publishes a new version for the user, sweeps the
// user's data directories of what the last version left, and prepares the
// restricted group. A guest run publishes and prepares nothing. Call it once.
void init_version_state();

// Writes the running version to the marker's file; nothing before
// init_version_state. Any thread may call it.
void commit_version();

}  // namespace vel

#endif  // VEL_PROCESS_VERSIONSTATE_H_
