// MD5 is what the structure is made of, and is to be had without a context.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "log/LogRandom.h"

#include <algorithm>

#include <openssl/md5.h>

namespace vel {
namespace {

// Adds `term` to `sum`, two big-endian numbers; the carry out of the top is
// dropped.
template <std::size_t kBytes>
void add(std::uint8_t (&sum)[kBytes], const std::uint8_t (&term)[kBytes]) {
  unsigned carry = 0;
  for (std::size_t i = kBytes; i-- > 0;) {
    carry += sum[i] + term[i];
    sum[i] = static_cast<std::uint8_t>(carry);
    carry >>= 8;
  }
}

}  // namespace

void LogRandom::mix(const void* data, std::size_t size) noexcept {
  std::uint8_t digest[kStateBytes];
  MD5(static_cast<const unsigned char*>(data), size, digest);
  add(_state, digest);
  _needed -= std::min(_needed, size);
}

std::uint32_t LogRandom::draw(void* out, std::size_t size) noexcept {
  if (_needed != 0) return kNotSeeded;
  auto* const bytes = static_cast<std::uint8_t*>(out);
  for (std::size_t i = 0; i < size; ++i) {
    if (_left == 0) refill();
    bytes[i] = _output[kStateBytes - _left--];
  }
  return 0;
}

void LogRandom::refill() noexcept {
  static constexpr std::uint8_t kOne[kStateBytes] = {0, 0, 0, 0, 0, 0, 0, 0,
                                                     0, 0, 0, 0, 0, 0, 0, 1};
  MD5(_state, kStateBytes, _output);
  add(_state, kOne);
  _left = kStateBytes;
}

}  // namespace vel
