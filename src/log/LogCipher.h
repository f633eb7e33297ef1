#ifndef VEL_LOG_LOGCIPHER_H_
#define VEL_LOG_LOGCIPHER_H_

#include <cstddef>
#include <cstdint>

struct evp_cipher_ctx_st;

namespace vel {

// AES-256 in the electronic-codebook mode: each unit of 16 bytes by itself. The
// context is made by the constructor, which enters libcrypto's locks; setting
// a key and enciphering take neither a lock nor memory. One thread at a time.
class LogCipher {
 public:
  static constexpr std::size_t kKeyBytes = 32;

  // Keeps the last error. Without memory, set_key() will refuse.
  LogCipher() noexcept;
  ~LogCipher();
  LogCipher(const LogCipher&) = delete;
  LogCipher& operator=(const LogCipher&) = delete;

  // `key` is 32 bytes long and isn't kept.
  [[nodiscard]] bool set_key(const std::uint8_t* key) noexcept;
  // In place; `length` in bytes, a multiple of 16. False when the data must not
  // go out.
  [[nodiscard]] bool encipher(void* data, std::uint32_t length) noexcept;

 private:
  evp_cipher_ctx_st* _context;
};

}  // namespace vel

#endif  // VEL_LOG_LOGCIPHER_H_
