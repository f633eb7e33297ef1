#include "foundation/Base64.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vel {
namespace {

std::string failure_of(const std::string& text) {
  try {
    Base64Decode(text);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(Base64, EncodesAndDecodes) {
  const struct {
    std::string bytes, text;
  } rows[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foobar", "Zm9vYmFy"},
      {std::string("\0\xff\xfe", 3), "AP/+"},
      {"\xfb\xef", "++8="},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Base64Encode(row.bytes), row.text);
    EXPECT_EQ(Base64Decode(row.text), row.bytes) << row.text;
  }
}

TEST(Base64, RoundTripsEveryByte) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) {
    bytes += static_cast<char>(i);
    ASSERT_EQ(Base64Decode(Base64Encode(bytes)), bytes) << i;
  }
}

TEST(Base64, TakesTheTwoNeighboursOfTheLetters) {
  EXPECT_EQ(Base64Decode("[[[["), Base64Decode("aaaa"));
  EXPECT_EQ(Base64Decode("{{{{"), Base64Decode("0000"));
}

TEST(Base64, RefusesWhatIsNotBase64) {
  for (const char* text : {"Zm 9", "Zm9\n", "Zm9-", "Zm9\x80", "=Zm9", "Z=9v",
                           "Zm9@", "Zm9`", "Zm9v===="}) {
    EXPECT_EQ(failure_of(text), "invalid base64 charachter") << text;
  }
  for (const char* text : {"Z", "Zg=", "Zm9vZ"}) {
    EXPECT_EQ(failure_of(text), "Base64 decode failed") << text;
  }
}

TEST(Base64, EndsAtTheFirstPaddingAndTheFirstZero) {
  // The length comes from the end of the text; what isn't decoded is zero.
  EXPECT_EQ(Base64Decode("Zg==Zm8="), std::string("f\0\0\0\0", 5));
  EXPECT_EQ(Base64Decode(std::string("Zm9v\0!!!", 8)), "foo");
}

TEST(Base64, DoesNothingInOtherModes) {
  const Base64 base64("foo", 3, 2);
  EXPECT_TRUE(base64.text().empty());
  EXPECT_TRUE(base64.data().empty());
}

}  // namespace
}  // namespace vel
