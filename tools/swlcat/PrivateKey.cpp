#include "swlcat/PrivateKey.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdio>

namespace swlcat {
namespace {

constexpr long kLargestPem = 0x10000;  // bytes

std::string read_small_file(const std::wstring& path) {
  std::string bytes;
  std::FILE* const file = _wfopen(path.c_str(), L"rb");
  if (file == nullptr) return bytes;
  bytes.resize(kLargestPem);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  std::fclose(file);
  return bytes;
}

}  // namespace

std::optional<PrivateKey> PrivateKey::load(const std::wstring& path,
                                           std::wstring& error) {
  const std::string pem = read_small_file(path);
  const std::unique_ptr<BIO, decltype(&BIO_free)> bio(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
  PrivateKey result;
  result._key.reset(
      PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr),
      EVP_PKEY_free);
  if (pem.empty() || !result._key) {
    error = path + L": " +
            (pem.empty() ? L"can't be read" : L"no private key in PEM form");
    return {};
  }
  if (EVP_PKEY_base_id(result._key.get()) != EVP_PKEY_RSA ||
      EVP_PKEY_size(result._key.get()) != int{vel::kWrappedKeyBytes}) {
    error = path + L": not an RSA key of 512 bits";
    return {};
  }
  return result;
}

std::optional<StreamKey> PrivateKey::unwrap(const WrappedKey& wrapped) const {
  const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
      EVP_PKEY_CTX_new(_key.get(), nullptr), EVP_PKEY_CTX_free);
  WrappedKey block;
  std::size_t size = block.size();
  if (!context || EVP_PKEY_decrypt_init(context.get()) <= 0 ||
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) <= 0 ||
      EVP_PKEY_decrypt(context.get(), block.data(), &size, wrapped.data(),
                       wrapped.size()) <= 0) {
    return {};
  }
  StreamKey key;
  std::copy_n(block.begin(), key.size(), key.begin());
  // Nothing stands behind a stream key. What another private key gives doesn't
  // look so.
  const bool whole = std::all_of(block.begin() + key.size(), block.end(),
                                 [](unsigned char byte) { return byte == 0; });
  if (!whole) return {};
  return key;
}

}  // namespace swlcat
