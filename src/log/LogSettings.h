#ifndef VEL_LOG_LOGSETTINGS_H_
#define VEL_LOG_LOGSETTINGS_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace vel {

constexpr std::size_t kLogPathChars = 388;
constexpr std::size_t kNtPrefixChars = 4;  // "\??\"

// Below this threshold a run counts as a debug run.
constexpr std::uint32_t kDefaultLogLevel = 2;

// The threshold of VELLOG, or else of VELCFG, or else the default.
[[nodiscard]] std::uint32_t read_log_level() noexcept;

// The size in bytes at which a file is replaced: the machine's setting for this
// threshold, at least 128 KiB, or else 128 MiB for a debug run and 4 MiB.
[[nodiscard]] std::uint64_t read_rotation_limit(std::uint32_t level) noexcept;

// True when bit 0 of VELLOGFLAGS asks for plain files.
[[nodiscard]] bool log_cipher_is_off() noexcept;

// The kernel's name of the log file of `source`: "\??\" and the full path below
// the temporary directory. Makes the directories; whether that works shows when
// the file is opened. An empty text when the path is too long.
void make_log_path(const wchar_t* source,
                   wchar_t (&nt_path)[kLogPathChars]) noexcept;

}  // namespace vel

#endif  // VEL_LOG_LOGSETTINGS_H_
