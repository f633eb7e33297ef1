// The lines about program and machine with which each log of a tray begins.
#ifndef VEL_PROCESS_SYSTEMVERSIONS_H_
#define VEL_PROCESS_SYSTEMVERSIONS_H_

namespace vel {

// Logs the program's path and version, the version of Windows and the
// processor's data, at level 4.
void log_system_versions();

}  // namespace vel

#endif  // VEL_PROCESS_SYSTEMVERSIONS_H_
