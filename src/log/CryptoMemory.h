#ifndef VEL_LOG_CRYPTOMEMORY_H_
#define VEL_LOG_CRYPTOMEMORY_H_

namespace vel {

// Gives libcrypto a private heap for all its memory, so that the log never
// enters the runtime's allocator through it, and keeps it out of the exit
// handlers and of configuration files. To be called before any other use of
// libcrypto in the process; more calls are free. A trap when libcrypto has
// memory of its own already. Keeps the last error.
void prepare_libcrypto() noexcept;

}  // namespace vel

#endif  // VEL_LOG_CRYPTOMEMORY_H_
