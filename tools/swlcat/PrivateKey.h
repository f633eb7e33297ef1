// The private half of the log's key pair.
#ifndef VEL_TOOLS_SWLCAT_PRIVATEKEY_H_
#define VEL_TOOLS_SWLCAT_PRIVATEKEY_H_

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "log/LogFormat.h"

using EVP_PKEY = struct evp_pkey_st;

namespace swlcat {

using WrappedKey = std::array<unsigned char, vel::kWrappedKeyBytes>;
// AES-256.
using StreamKey = std::array<unsigned char, 32>;

class PrivateKey {
 public:
  // No key: unwraps nothing.
  PrivateKey() = default;
  // Of a PEM file. Nothing, with a reason in `error`, when it can't be used.
  static std::optional<PrivateKey> load(const std::wstring& path,
                                        std::wstring& error);

  explicit operator bool() const { return _key != nullptr; }
  // Nothing when this isn't the key that the stream key was wrapped for.
  std::optional<StreamKey> unwrap(const WrappedKey& wrapped) const;

 private:
  std::shared_ptr<EVP_PKEY> _key;
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_PRIVATEKEY_H_
