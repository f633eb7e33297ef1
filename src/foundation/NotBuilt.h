// What an operation answers whose body isn't there yet.
#ifndef VEL_FOUNDATION_NOTBUILT_H_
#define VEL_FOUNDATION_NOTBUILT_H_

namespace vel {

// Logs "<name>: not built yet" at level 2 and sets the thread's last error to
// ERROR_CALL_NOT_IMPLEMENTED. The caller then fails as its contract says.
void report_not_built(const char* name);

}  // namespace vel

#endif  // VEL_FOUNDATION_NOTBUILT_H_
