#ifndef VEL_LOG_STREAMKEY_H_
#define VEL_LOG_STREAMKEY_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "log/LogFormat.h"

namespace vel {

// The key that one user's log files are enciphered with, from the user's first
// log until his registry hive is unloaded. The first half of the block is the
// key of the cipher, the other half is zero, and the block as a whole is what
// gets wrapped into the header of a file.
constexpr std::size_t kStreamKeyBytes = 32;
constexpr std::size_t kStreamKeyBlockBytes = 64;
using StreamKeyBlock = std::uint8_t[kStreamKeyBlockBytes];

// An RSA public key; the numbers are big-endian and right-aligned.
struct WrappingKey {
  std::uint16_t bits;
  std::uint8_t modulus[128];
  std::uint8_t exponent[128];
};

// Results of the wrapping beside 0.
constexpr std::uint32_t kSealNotBelowModulus = 0x401;
constexpr std::uint32_t kSealShortModulus = 0x406;
constexpr std::uint32_t kSealNoMemory = 0xC0000017;  // STATUS_NO_MEMORY

// Wraps the whole block with the program's public key: 64 bytes, big-endian,
// and no padding, so that the same block always gives the same bytes and a
// process can tell by them whether a file was enciphered under its key. Only
// the owner of the private half can undo it. `out` takes 64 bytes; nothing is
// written on failure. Memory comes from libcrypto's heap.
[[nodiscard]] std::uint32_t seal_stream_key(const StreamKeyBlock& block,
                                            std::uint8_t* out,
                                            std::uint32_t* out_length) noexcept;
// The same with another key.
[[nodiscard]] std::uint32_t seal_with(const WrappingKey& key,
                                      const StreamKeyBlock& block,
                                      std::uint8_t* out,
                                      std::uint32_t* out_length) noexcept;

// Makes a new key: 00 02, eight random bytes that aren't zero, 00, 21 random
// bytes. Its leading zero keeps it below the modulus; should none of 128
// attempts be fit for wrapping, the last one stays, and the wrapping will fail.
void make_stream_key(StreamKeyBlock& block) noexcept;

// Fills `block` with the user's key, from the volatile registry key that all
// processes of the user share, or makes it and stores it there. 0, or an error:
// a status, or 5. Waits up to three seconds for a process that has made the
// registry key and not yet stored the value. Run it inside LogMutex, so that
// two processes don't store a key at the same moment.
[[nodiscard]] std::uint32_t get_stream_key(StreamKeyBlock& block) noexcept;

}  // namespace vel

#endif  // VEL_LOG_STREAMKEY_H_
