#ifndef VEL_LOG_LOGCHAIN_H_
#define VEL_LOG_LOGCHAIN_H_

namespace vel {

// What a collecting file is called beside the logs that go into it.
constexpr wchar_t kLogChainExtension[] = L".chn";

// Moves the finished log `log` to the end of `collector`: the log's size in 8
// bytes, little-endian, then its content. A collector of more than 16 MiB is
// emptied first; one that can't take the whole log keeps what it had, and the
// log is gone all the same. True when the log is in it.
//
// For a log that nobody writes any more. Part of the log's design without a
// caller in this program. Changes the last error.
bool append_to_chain(const wchar_t* log, const wchar_t* collector);

}  // namespace vel

#endif  // VEL_LOG_LOGCHAIN_H_
