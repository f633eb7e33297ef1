// The stream key: its parts, and the registry key that processes share it by.

#include "log/StreamKey.h"

#include <gtest/gtest.h>

#include <cstring>

#include <string>
#include <thread>

#include "log/LogCipher.h"
#include "log/LogRandom.h"

namespace vel {
namespace {

constexpr wchar_t kParent[] = L"Software\\AppDataLow\\VELVolatile";
constexpr wchar_t kKey[] = L"Software\\AppDataLow\\VELVolatile\\VelLog";

std::string Get() {
  StreamKeyBlock block;
  EXPECT_EQ(get_stream_key(block), 0u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(block) + 32, 32),
            std::string(32, '\0'));
  return {reinterpret_cast<char*>(block), kStreamKeyBytes};
}

void Store(const std::string& key) {
  EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"key", REG_NONE,
                            key.data(), static_cast<DWORD>(key.size())),
            ERROR_SUCCESS);
}

TEST(StreamKey, ItsPartsAreTheStandardOnes) {
  LogRandom random;
  std::uint8_t out[20] = {};
  for (int i = 0; i < 255; ++i) random.mix("x", 1);
  EXPECT_EQ(random.draw(out, 1), LogRandom::kNotSeeded);
  random.mix("y", 1);
  EXPECT_EQ(random.draw(out, 3), 0u);
  EXPECT_EQ(random.draw(out + 3, 17), 0u);
  const std::uint8_t kDrawn[] = {0xa7, 0xc1, 0x10, 0x8e, 0x73, 0xbc, 0x7d,
                                 0x5c, 0xec, 0x23, 0x86, 0x77, 0x97, 0xe6,
                                 0xbf, 0x86, 0x53, 0x3d, 0x76, 0xfd};
  EXPECT_EQ(std::memcmp(out, kDrawn, sizeof kDrawn), 0);

  std::uint8_t key[32], unit[32];
  for (std::uint8_t i = 0; i < 32; ++i) key[i] = i;
  for (std::uint8_t i = 0; i < 32; ++i) unit[i] = (i % 16) * 0x11;
  LogCipher cipher;
  ASSERT_TRUE(cipher.set_key(key));
  ASSERT_TRUE(cipher.encipher(unit, sizeof unit));
  const std::uint8_t kEnciphered[] = {0x8e, 0xa2, 0xb7, 0xca, 0x51, 0x67,
                                      0x45, 0xbf, 0xea, 0xfc, 0x49, 0x90,
                                      0x4b, 0x49, 0x60, 0x89};
  EXPECT_EQ(std::memcmp(unit, kEnciphered, 16), 0);
  EXPECT_EQ(std::memcmp(unit + 16, kEnciphered, 16), 0);
}

TEST(StreamKey, ANewOneHasTheFormOfItsKind) {
  for (int i = 0; i < 100; ++i) {
    StreamKeyBlock key;
    make_stream_key(key);
    EXPECT_TRUE(key[0] == 0 && key[1] == 2 && key[10] == 0);
    for (int j = 2; j < 10; ++j) EXPECT_NE(key[j], 0);
    for (int j = 32; j < 64; ++j) EXPECT_EQ(key[j], 0);
  }
}

TEST(StreamKey, IsWrappedOnlyBelowAWholeModulus) {
  WrappingKey small = {};  // 3^3 mod 33
  small.bits = 512;
  small.modulus[127] = 33;
  small.exponent[127] = 3;
  StreamKeyBlock block = {};
  std::uint8_t out[64];
  std::uint32_t length = 0;
  block[63] = 33;
  EXPECT_EQ(seal_with(small, block, out, &length), kSealNotBelowModulus);
  block[63] = 3;
  small.bits = 504;
  EXPECT_EQ(seal_with(small, block, out, &length), kSealShortModulus);
  EXPECT_EQ(length, 0u);
  small.bits = 505;
  EXPECT_EQ(seal_with(small, block, out, &length), 0u);
  EXPECT_EQ(length, 64u);
  EXPECT_EQ(out[63], 27);
  EXPECT_EQ(out[0], 0);
}

TEST(StreamKey, IsMadeOnceAndGoesWithTheSession) {
  RegDeleteTreeW(HKEY_CURRENT_USER, kParent);
  const std::string key = Get();
  EXPECT_EQ(Get(), key);
  HKEY child;
  EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER,
                            (std::wstring(kKey) + L"\\child").c_str(), 0,
                            nullptr, REG_OPTION_NON_VOLATILE, KEY_READ, nullptr,
                            &child, nullptr),
            static_cast<LONG>(ERROR_CHILD_MUST_BE_VOLATILE));
  Store(std::string(32, 'k'));
  EXPECT_EQ(Get(), std::string(32, 'k'));
}

// Another process has made the registry key: its value is waited for, and made
// here when it doesn't come. A value of another length is none.
TEST(StreamKey, WaitsForTheProcessThatMakesIt) {
  Store("too short");
  std::thread maker([] {
    Sleep(200);
    Store(std::string(32, 'm'));
  });
  EXPECT_EQ(Get(), std::string(32, 'm'));
  maker.join();
  Store(std::string(33, 'l'));
  const DWORD start = GetTickCount();
  const std::string key = Get();
  EXPECT_GE(GetTickCount() - start, 2900u);
  EXPECT_EQ(key.substr(0, 2), std::string("\0\2", 2));
  EXPECT_EQ(Get(), key);
}

}  // namespace
}  // namespace vel
