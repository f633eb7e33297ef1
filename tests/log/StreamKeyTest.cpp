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
  const char kDrawn[] =
      "\xa7\xc1\x10\x8e\x73\xbc\x7d\x5c\xec\x23"
      "\x86\x77\x97\xe6\xbf\x86\x53\x3d\x76\xfd";
  EXPECT_EQ(std::memcmp(out, kDrawn, sizeof out), 0);

  std::uint8_t key[32], unit[32];
  for (std::uint8_t i = 0; i < 32; ++i) key[i] = i, unit[i] = (i % 16) * 0x11;
  LogCipher cipher;
  ASSERT_TRUE(cipher.set_key(key));
  ASSERT_TRUE(cipher.encipher(unit, sizeof unit));
  const char kEnciphered[] =
      "\x8e\xa2\xb7\xca\x51\x67\x45\xbf"
      "\xea\xfc\x49\x90\x4b\x49\x60\x89";
  EXPECT_EQ(std::memcmp(unit, kEnciphered, 16), 0);
  EXPECT_EQ(std::memcmp(unit + 16, kEnciphered, 16), 0);
}

TEST(StreamKey, IsMadeOnceAndGoesWithTheSession) {
  RegDeleteTreeW(HKEY_CURRENT_USER, kParent);
  const std::string key = Get();
  EXPECT_EQ(Get(), key);
  const std::wstring child = std::wstring(kKey) + L"\\child";
  HKEY none;
  EXPECT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, child.c_str(), &none),
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
