// How a process shows others that this library is in it and ready: the event
// "VELUL_<process id in hexadecimal>", and the record behind
// VelQueryInitHooksParam. This build hooks nothing; "ready" means that the
// library has been set to work in the process, as the anchor of a session or
// in a minimal mode.
#ifndef VEL_COMPANIONS_SESSION_HOOKEVENT_H_
#define VEL_COMPANIONS_SESSION_HOOKEVENT_H_

#include <cstdint>

namespace velul {

// Makes the event, signalled, and fills the record. Both stay until the
// process ends. May be called again. False with the last error.
bool publish_hook_event();

// The record: its first word is 0 until publish_hook_event has succeeded.
const std::uint32_t* hook_record();

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_HOOKEVENT_H_
