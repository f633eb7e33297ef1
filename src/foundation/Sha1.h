#ifndef VEL_FOUNDATION_SHA1_H_
#define VEL_FOUNDATION_SHA1_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace vel {

using Sha1Digest = std::array<std::uint8_t, 20>;

// The SHA-1 of some bytes; all zero where libcrypto has no memory for it. Not
// for anything that has to be secure. Any thread.
Sha1Digest Sha1(const void* bytes, std::size_t size);

}  // namespace vel

#endif  // VEL_FOUNDATION_SHA1_H_
