#include "foundation/Sha1.h"

#include <openssl/evp.h>

#include "log/CryptoMemory.h"

namespace vel {

Sha1Digest Sha1(const void* bytes, std::size_t size) {
  prepare_libcrypto();
  Sha1Digest digest = {};
  if (EVP_Q_digest(nullptr, "SHA1", nullptr, bytes, size, digest.data(),
                   nullptr) != 1) {
    digest.fill(0);
  }
  return digest;
}

}  // namespace vel
