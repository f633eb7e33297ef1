#include "log/StreamKey.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include <openssl/bn.h>

#include "LogKey.h"
#include "log/CryptoMemory.h"
#include "log/LogRandom.h"

namespace vel {
namespace {

constexpr int kMakeAttempts = 128;
constexpr int kSeedSteps = 256;
constexpr std::uint16_t kModulusBits = 512;
constexpr int kPublicExponent = 65537;

// The bytes of a new key that aren't left to chance.
constexpr std::size_t kTypeByte = 1;
constexpr std::uint8_t kKeyType = 2;
constexpr std::size_t kFirstNonZeroByte = 2;
constexpr std::size_t kSeparatorByte = 10;

template <auto Free>
struct Freer {
  template <typename T>
  void operator()(T* object) const noexcept {
    Free(object);
  }
};
using Number = std::unique_ptr<BIGNUM, Freer<BN_free>>;
using NumberScratch = std::unique_ptr<BN_CTX, Freer<BN_CTX_free>>;

template <std::size_t kBytes>
Number number(const std::uint8_t (&bytes)[kBytes]) noexcept {
  return Number(BN_bin2bn(bytes, static_cast<int>(kBytes), nullptr));
}

WrappingKey wrapping_key() noexcept {
  static constexpr std::uint8_t kModulus[] = {VEL_LOG_MODULUS};
  static_assert(sizeof kModulus == kModulusBits / 8);
  WrappingKey key = {};
  key.bits = kModulusBits;
  std::memcpy(key.modulus + sizeof key.modulus - sizeof kModulus, kModulus,
              sizeof kModulus);
  for (int i = 0; i < 3; ++i) {
    key.exponent[sizeof key.exponent - 1 - static_cast<std::size_t>(i)] =
        static_cast<std::uint8_t>(kPublicExponent >> (8 * i));
  }
  return key;
}

// Seeds and draws with the runtime's generator; the time is what makes a
// difference.
void draw_key(StreamKeyBlock& block) noexcept {
  std::memset(block, 0, sizeof block);
  LARGE_INTEGER counter = {};
  QueryPerformanceCounter(&counter);
  std::srand(counter.LowPart != 0 ? counter.LowPart : GetTickCount());
  LogRandom random;
  for (int i = 0; i < kSeedSteps; ++i) {
    const auto seed = static_cast<std::uint8_t>(std::rand());
    random.mix(&seed, sizeof seed);
  }
  if (random.draw(block, kStreamKeyBytes) != 0) return;
  block[0] = 0;
  block[kTypeByte] = kKeyType;
  block[kSeparatorByte] = 0;
  for (std::size_t i = kFirstNonZeroByte; i < kSeparatorByte; ++i) {
    if (block[i] == 0) {
      block[i] = static_cast<std::uint8_t>(std::rand() % 255 + 1);
    }
  }
}

}  // namespace

std::uint32_t seal_with(const WrappingKey& key, const StreamKeyBlock& block,
                        std::uint8_t* out, std::uint32_t* out_length) noexcept {
  if ((key.bits + 7u) / 8 < kWrappedKeyBytes) return kSealShortModulus;
  prepare_libcrypto();
  const Number modulus = number(key.modulus);
  const Number exponent = number(key.exponent);
  const Number message = number(block);
  const Number result(BN_new());
  const NumberScratch scratch(BN_CTX_new());
  if (!modulus || !exponent || !message || !result || !scratch) {
    return kSealNoMemory;
  }
  if (BN_cmp(message.get(), modulus.get()) >= 0) return kSealNotBelowModulus;
  if (BN_mod_exp(result.get(), message.get(), exponent.get(), modulus.get(),
                 scratch.get()) != 1 ||
      BN_bn2binpad(result.get(), out, static_cast<int>(kWrappedKeyBytes)) < 0) {
    return kSealNoMemory;
  }
  *out_length = kWrappedKeyBytes;
  return 0;
}

std::uint32_t seal_stream_key(const StreamKeyBlock& block, std::uint8_t* out,
                              std::uint32_t* out_length) noexcept {
  return seal_with(wrapping_key(), block, out, out_length);
}

void make_stream_key(StreamKeyBlock& block) noexcept {
  for (int attempt = 0; attempt < kMakeAttempts; ++attempt) {
    draw_key(block);
    std::uint8_t sealed[kWrappedKeyBytes];
    std::uint32_t length;
    if (seal_stream_key(block, sealed, &length) == 0) return;
  }
}

}  // namespace vel
