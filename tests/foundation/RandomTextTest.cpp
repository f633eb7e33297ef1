#include "foundation/RandomText.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstring>
#include <set>

namespace vel {
namespace {

using Bytes = std::array<unsigned char, 64>;

bool fill_with_ones(void* buffer, std::size_t size) {
  memset(buffer, 1, size);
  return true;
}
bool fill_with_twos(void* buffer, std::size_t size) {
  memset(buffer, 2, size);
  return true;
}
bool fail(void*, std::size_t) {
  return false;
}

Bytes bytes_from(const RandomSources& sources) {
  Bytes bytes = {};
  RandomBytesFrom(sources, bytes.data(), bytes.size());
  return bytes;
}

Bytes filled(unsigned char value) {
  Bytes bytes;
  bytes.fill(value);
  return bytes;
}

TEST(RandomText, TakesTheHardwareOverTheStandardSource) {
  EXPECT_EQ(bytes_from({fill_with_ones, fill_with_twos}), filled(2));
  EXPECT_EQ(bytes_from({fill_with_ones, fail}), filled(1));
}

TEST(RandomText, FallsBackWithoutTheStandardSource) {
  EXPECT_NE(bytes_from({fail, fill_with_twos}), filled(2));
  EXPECT_NE(bytes_from({fail, fail}), filled(0));
}

TEST(RandomText, GivesOtherBytesEachTime) {
  Bytes first = {}, second = {};
  SetLastError(1234);
  RandomBytes(first.data(), first.size());
  RandomBytes(second.data(), second.size());
  EXPECT_EQ(GetLastError(), 1234u);
  EXPECT_NE(first, second);
  RandomBytes(nullptr, 0);
}

TEST(RandomText, NamesHaveTheirLengthAndAlphabet) {
  for (const std::size_t length : {0u, 4u, 1000u}) {
    const std::wstring name = RandomName(length);
    EXPECT_EQ(name.size(), length);
    EXPECT_EQ(name.find_first_not_of(kRandomNameAlphabet), std::wstring::npos);
  }
  const std::wstring chosen = RandomName(kRandomNameLength);
  EXPECT_GE(chosen.size(), 16u);
  EXPECT_LE(chosen.size(), 31u);
  // All of the alphabet comes up.
  const std::wstring sample = RandomName(10000);
  EXPECT_EQ(std::set<wchar_t>(sample.begin(), sample.end()).size(), 36u);
}

}  // namespace
}  // namespace vel
