#include "support/LogFile.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <cwchar>
#include <memory>

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include "log/CryptoMemory.h"
#include "log/LogFormat.h"
#include "sync/ScopedHandle.h"

namespace vel::test {
namespace {

constexpr std::size_t kKeyBytes = 32;
constexpr std::size_t kLengthBytes = 4;

// The key that a header holds, wrapped in `wrapped`.
std::string Unwrap(const std::string& wrapped) {
  prepare_libcrypto();
  const std::string pem = ReadBytes(VEL_LOG_PRIVATE_KEY);
  BIO* const source = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  EVP_PKEY* const key =
      PEM_read_bio_PrivateKey(source, nullptr, nullptr, nullptr);
  BIO_free(source);
  std::string block(kWrappedKeyBytes, '\0');
  auto* const bytes = reinterpret_cast<unsigned char*>(block.data());
  BIGNUM* modulus = nullptr;
  BIGNUM* exponent = nullptr;
  EXPECT_EQ(EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_N, &modulus), 1);
  EXPECT_EQ(EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_D, &exponent), 1);
  EVP_PKEY_free(key);
  BIGNUM* const number =
      BN_bin2bn(reinterpret_cast<const unsigned char*>(wrapped.data()),
                static_cast<int>(wrapped.size()), nullptr);
  BN_CTX* const scratch = BN_CTX_new();
  EXPECT_EQ(BN_mod_exp(number, number, exponent, modulus, scratch), 1);
  EXPECT_EQ(BN_bn2binpad(number, bytes, static_cast<int>(block.size())),
            static_cast<int>(block.size()));
  BN_CTX_free(scratch);
  for (BIGNUM* each : {modulus, exponent, number}) BN_free(each);
  return block.substr(0, kKeyBytes);
}

void Decipher(const std::string& key, std::string* units) {
  auto* const bytes = reinterpret_cast<unsigned char*>(units->data());
  EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
  int done = 0;
  EXPECT_EQ(EVP_DecryptInit_ex(
                context, EVP_aes_256_ecb(), nullptr,
                reinterpret_cast<const unsigned char*>(key.data()), nullptr),
            1);
  EXPECT_EQ(EVP_CIPHER_CTX_set_padding(context, 0), 1);
  EXPECT_EQ(EVP_DecryptUpdate(context, bytes, &done, bytes,
                              static_cast<int>(units->size())),
            1);
  EXPECT_EQ(static_cast<std::size_t>(done), units->size());
  EVP_CIPHER_CTX_free(context);
}

// "[tick:process:thread:level] text"
LogLine ParseLine(const std::wstring& line) {
  LogLine parsed;
  const int fields =
      std::swscanf(line.c_str(), L"[%x:%x:%x:%x] ", &parsed.tick,
                   &parsed.process, &parsed.thread, &parsed.level);
  EXPECT_EQ(fields, 4) << "a record without a prefix";
  if (fields == 4) parsed.text = line.substr(line.find(L"] ") + 2);
  return parsed;
}

}  // namespace

std::wstring PrivateKeyPath() {
  return VEL_LOG_PRIVATE_KEY;
}

bool HasPrivateKey() {
  return !ReadBytes(VEL_LOG_PRIVATE_KEY).empty();
}

std::string ReadBytes(const std::wstring& path) {
  const ScopedFileHandle file(
      CreateFileW(path.c_str(), GENERIC_READ,
                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return {};
  std::string bytes(GetFileSize(file.get(), nullptr), '\0');
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(file.get(), bytes.data(),
                       static_cast<DWORD>(bytes.size()), &got, nullptr));
  bytes.resize(got);
  return bytes;
}

std::string ReadUnits(const std::wstring& path) {
  const std::string bytes = ReadBytes(path);
  const std::string mark = bytes.substr(0, kLogMarkBytes);
  const bool ciphered = mark == kLogCipherMark;
  EXPECT_TRUE(ciphered || mark == kLogPlainMark) << "no log file: " << mark;
  std::string rest = bytes.substr(std::min(bytes.size(), kLogMarkBytes));
  if (ciphered) {
    EXPECT_EQ(rest.substr(0, kLengthBytes), std::string("\x40\0\0\0", 4));
    const std::string key = Unwrap(rest.substr(kLengthBytes, kWrappedKeyBytes));
    rest.erase(0, kLengthBytes + kWrappedKeyBytes);
    Decipher(key, &rest);
  }
  EXPECT_EQ(rest.size() % kLogUnitBytes, 0u);
  EXPECT_EQ(std::memcmp(rest.data(), kLogLeadIn, kLogUnitBytes), 0);
  return rest;
}

std::vector<LogLine> ReadLog(const std::wstring& path) {
  const std::string units = ReadUnits(path).substr(kLogUnitBytes);
  std::wstring text(units.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), units.data(), text.size() * sizeof(wchar_t));
  std::vector<LogLine> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    EXPECT_EQ(begin % kLogUnitChars, 0u) << "a record off its place";
    const std::size_t end = text.find(L"\r\n", begin);
    EXPECT_NE(end, std::wstring::npos) << "a record without an end";
    if (end == std::wstring::npos) break;
    lines.push_back(ParseLine(text.substr(begin, end - begin)));
    begin = text.find_first_not_of(L'\0', end + 2);
  }
  return lines;
}

}  // namespace vel::test
