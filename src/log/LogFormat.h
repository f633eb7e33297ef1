#ifndef VEL_LOG_LOGFORMAT_H_
#define VEL_LOG_LOGFORMAT_H_

#include <cstddef>
#include <cstdint>

namespace vel {

// The layout of a log file: a header, then units of 16 bytes to the end. All
// integers are little-endian. The first unit is the lead-in. In an enciphered
// file each unit is enciphered by itself; the header never is.
//
//   offset | plain file | enciphered file
//   0      | "VELLOG.0" | "VELLOG.1"
//   8      | units      | length of the wrapped key, 32 bits: 64
//   12     |            | the wrapped key
//   76     |            | units
//
// A write that the system cut short leaves the end between two units. The next
// write puts zeros ahead of its data, up to the border: as they are, also in an
// enciphered file. In a plain file they pad the record that was cut; in an
// enciphered one they end a unit that nobody can decipher.

// Also the block of the cipher.
constexpr std::size_t kLogUnitBytes = 16;
constexpr std::size_t kLogUnitChars = kLogUnitBytes / sizeof(wchar_t);

constexpr std::size_t kLogMarkBytes = 8;
constexpr char kLogPlainMark[] = "VELLOG.0";
constexpr char kLogCipherMark[] = "VELLOG.1";
constexpr std::size_t kWrappedKeyBytes = 64;
// Where the units begin.
constexpr std::size_t kLogPlainHeaderBytes = kLogMarkBytes;
constexpr std::size_t kLogCipherHeaderBytes =
    kLogMarkBytes + sizeof(std::uint32_t) + kWrappedKeyBytes;

// The byte order mark of UTF-16, padded to a unit.
constexpr std::uint8_t kLogLeadIn[kLogUnitBytes] = {0xFF, 0xFE};

static_assert(sizeof kLogPlainMark == kLogMarkBytes + 1);
static_assert(sizeof kLogCipherMark == kLogMarkBytes + 1);

}  // namespace vel

#endif  // VEL_LOG_LOGFORMAT_H_
