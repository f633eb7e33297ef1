// Texts: formats, case, patterns and Base64.
#include "foundation/Text.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "foundation/Base64.h"
#include "foundation/WildcardMatch.h"

namespace vel {
namespace {

TEST(Text, FormatsTextsOfAnyLength) {
  for (const std::size_t length : {0u, 254u, 255u, 256u, 511u, 100000u}) {
    const std::wstring wide(length, L'x');
    EXPECT_EQ(FormatWide(L"%s%u", wide.c_str(), 7u), wide + L"7");
    const std::string narrow(length, 'x');
    EXPECT_EQ(FormatNarrow("%s%u", narrow.c_str(), 7u), narrow + "7");
  }
  EXPECT_EQ(FormatWide(L"%S %I64i %x", "narrow", -5LL, 255), L"narrow -5 ff");
}

TEST(Text, FoldsAsTheSystemDoes) {
  for (unsigned code = 0; code <= 0xFFFF; ++code) {
    const auto character = static_cast<wchar_t>(code);
    wchar_t expected = character;
    CharUpperBuffW(&expected, 1);
    ASSERT_EQ(FoldChar(character), expected) << std::hex << code;
  }
  std::wstring text = L"aZ[`{@1\x00e4\x0416z";
  SetLastError(1234);
  ToUpperInPlace(text);
  EXPECT_EQ(text, L"AZ[`{@1\x00c4\x0416Z");
  ToLowerInPlace(text);
  EXPECT_EQ(text, L"az[`{@1\x00e4\x0436z");
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(WildcardMatch, MatchesPatterns) {
  const std::tuple<const wchar_t*, const wchar_t*, bool> rows[] = {
      {L"", L"", true},           {L"", L"**", true},
      {L"", L"?", false},         {L"", L"*a", false},
      {L"abc", L"", false},       {L"abc", L"ABC", true},
      {L"abc", L"ab", false},     {L"ab", L"abc", false},
      {L"abc", L"a?c", true},     {L"abc", L"abc?", false},
      {L"abc", L"abc*", true},    {L"abc", L"*d*", false},
      {L"a", L"?*?", false},      {L"aab", L"*ab", true},
      {L"a*c", L"a*c", true},     {L"abab", L"*a*b", true},
      {L"abcbd", L"a*bc", false}, {L"[", L"{", false}};
  for (const auto& [name, pattern, matches] : rows) {
    EXPECT_EQ(VelWildcardMatch(name, pattern), matches)
        << testing::PrintToString(name) << testing::PrintToString(pattern);
  }
  EXPECT_TRUE(VelWildcardMatchCase(L"abC", L"a*C"));
  EXPECT_FALSE(VelWildcardMatchCase(L"abc", L"a*C"));
}

TEST(Base64, EncodesAndDecodes) {
  const std::pair<std::string, std::string> rows[] = {
      {"f", "Zg=="}, {"fo", "Zm8="}, {"foobar", "Zm9vYmFy"}, {"\xfb", "+w=="}};
  for (const auto& [bytes, text] : rows) EXPECT_EQ(Base64Encode(bytes), text);
  std::string bytes;
  for (int i = 0; i < 256; ++i) {
    bytes += static_cast<char>(i);
    ASSERT_EQ(Base64Decode(Base64Encode(bytes)), bytes) << i;
  }
  // The characters behind Z and z are taken as 26 and 52.
  EXPECT_EQ(Base64Decode("[[[[{{{{"), Base64Decode("aaaa0000"));
  // The length comes from the end of the text; what isn't decoded is zero.
  EXPECT_EQ(Base64Decode("Zg==Zm8="), std::string("f\0\0\0\0", 5));
  EXPECT_EQ(Base64Decode(std::string("Zm9v\0!!!", 8)), "foo");
}

TEST(Base64, RefusesWhatIsNotBase64) {
  const std::pair<const char*, const char*> rows[] = {
      {"Zm 9", "invalid base64 charachter"},
      {"Zm9\x80", "invalid base64 charachter"},
      {"=Zm9", "invalid base64 charachter"},
      {"Zg=", "Base64 decode failed"},
      {"Zm9vZ", "Base64 decode failed"},
  };
  for (const auto& [text, message] : rows) {
    try {
      Base64Decode(text);
      ADD_FAILURE() << text;
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), message) << text;
    }
  }
}

}  // namespace
}  // namespace vel
