#include "log/LogCipher.h"

#include <openssl/evp.h>

#include "log/CryptoMemory.h"
#include "sync/LastErrorKeeper.h"

namespace vel {
namespace {

// A context that has a cipher and a key, so that a later key only replaces the
// schedule. Null when that can't be had.
EVP_CIPHER_CTX* make_context() noexcept {
  EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "AES-256-ECB", nullptr);
  EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
  static constexpr std::uint8_t kNoKey[LogCipher::kKeyBytes] = {};
  const bool made =
      context != nullptr &&
      EVP_EncryptInit_ex2(context, cipher, kNoKey, nullptr, nullptr) == 1 &&
      EVP_CIPHER_CTX_set_padding(context, 0) == 1;
  EVP_CIPHER_free(cipher);
  if (made) return context;
  EVP_CIPHER_CTX_free(context);
  return nullptr;
}

}  // namespace

LogCipher::LogCipher() noexcept {
  const LastErrorKeeper keeper;
  prepare_libcrypto();
  _context = make_context();
}

LogCipher::~LogCipher() {
  EVP_CIPHER_CTX_free(_context);
}

bool LogCipher::set_key(const std::uint8_t* key) noexcept {
  return _context != nullptr &&
         EVP_EncryptInit_ex2(_context, nullptr, key, nullptr, nullptr) == 1;
}

bool LogCipher::encipher(void* data, std::uint32_t length) noexcept {
  auto* const bytes = static_cast<unsigned char*>(data);
  int done = 0;
  return EVP_EncryptUpdate(_context, bytes, &done, bytes,
                           static_cast<int>(length)) == 1 &&
         done == static_cast<int>(length);
}

}  // namespace vel
