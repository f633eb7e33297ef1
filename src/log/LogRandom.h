#ifndef VEL_LOG_LOGRANDOM_H_
#define VEL_LOG_LOGRANDOM_H_

#include <cstddef>
#include <cstdint>

namespace vel {

// The random structure that stream keys are drawn from: a state of 16 bytes
// that takes in seed bytes through MD5, and gives output by counting up. For
// one thread; takes no lock and no memory.
class LogRandom {
 public:
  static constexpr std::uint32_t kNotSeeded = 0x408;

  // Takes `size` bytes of seed in: their digest is added to the state, both
  // read as big-endian numbers.
  void mix(const void* data, std::size_t size) noexcept;
  // Fills `out` and gives 0; kNotSeeded, with nothing done, before 256 bytes of
  // seed have come.
  [[nodiscard]] std::uint32_t draw(void* out, std::size_t size) noexcept;

 private:
  static constexpr std::size_t kStateBytes = 16;
  static constexpr std::size_t kSeedBytes = 256;

  void refill() noexcept;

  std::uint8_t _state[kStateBytes] = {};
  std::size_t _needed = kSeedBytes;
  std::uint8_t _output[kStateBytes] = {};
  std::size_t _left = 0;  // bytes at the end of _output
};

}  // namespace vel

#endif  // VEL_LOG_LOGRANDOM_H_
