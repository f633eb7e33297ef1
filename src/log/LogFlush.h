#ifndef VEL_LOG_LOGFLUSH_H_
#define VEL_LOG_LOGFLUSH_H_

namespace vel {

// Pushes what the log has collected to the file, as far as that can be done by
// a process that may be about to die: the log's lock is tried for at most 1 s,
// and not at all when the calling thread has it or the process is ending. With
// the lock it is VelLog_FlushBuffer(), so a rotation that falls due may wait
// for other processes.
//
// Called ahead of what may take the process with it: the code of plug-ins, and
// a trap. From any thread, with or without a log; keeps the last error and
// reports nothing.
void VelLog_TryFlushBuffer() noexcept;

}  // namespace vel

#endif  // VEL_LOG_LOGFLUSH_H_
