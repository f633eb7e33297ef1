#include "foundation/Sha1.h"

#include <windows.h>
#include <wincrypt.h>

namespace vel {

Sha1Digest Sha1(const void* bytes, std::size_t size) {
  Sha1Digest digest = {};
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL,
                            CRYPT_VERIFYCONTEXT)) {
    return digest;
  }
  HCRYPTHASH hash = 0;
  if (CryptCreateHash(provider, CALG_SHA1, 0, 0, &hash)) {
    auto length = static_cast<DWORD>(digest.size());
    if (!CryptHashData(hash, static_cast<const BYTE*>(bytes),
                       static_cast<DWORD>(size), 0) ||
        !CryptGetHashParam(hash, HP_HASHVAL, digest.data(), &length, 0)) {
      digest.fill(0);
    }
    CryptDestroyHash(hash);
  }
  CryptReleaseContext(provider, 0);
  return digest;
}

}  // namespace vel
