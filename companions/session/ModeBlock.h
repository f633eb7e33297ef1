#ifndef VEL_COMPANIONS_SESSION_MODEBLOCK_H_
#define VEL_COMPANIONS_SESSION_MODEBLOCK_H_

namespace velul {

// Publishes this process's minimal mode until its end, so that its children
// start in it: the memory block "VELUL_MIN:<process id in hexadecimal>", 32
// bytes of which the first four are the length of what follows, the
// zero-terminated text. Low-integrity processes may read it. One that is there
// already, from whoever started the process, stays. False with the last error.
bool publish_mode(const wchar_t* mode);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_MODEBLOCK_H_
