#include "foundation/Text.h"

#include <gtest/gtest.h>

namespace vel {
namespace {

TEST(Text, FormatsTextsOfAnyLength) {
  for (const std::size_t length : {0u, 254u, 255u, 256u, 300u, 511u, 100000u}) {
    const std::wstring wide(length, L'x');
    EXPECT_EQ(FormatWide(L"%s%u", wide.c_str(), 7u), wide + L"7");
    const std::string narrow(length, 'x');
    EXPECT_EQ(FormatNarrow("%s%u", narrow.c_str(), 7u), narrow + "7");
  }
  EXPECT_EQ(FormatWide(L"100%s"), L"100%s");
  EXPECT_EQ(FormatNarrow("100%s"), "100%s");
  EXPECT_EQ(FormatWide(L"%S %I64i %x", "narrow", -5LL, 255), L"narrow -5 ff");
  EXPECT_EQ(FormatNarrow("%S", L"wide"), "wide");
}

TEST(Text, ChangesCase) {
  std::wstring wide = L"aZ[`{@1\x00e4\x0416z";
  ToUpperInPlace(wide);
  EXPECT_EQ(wide, L"AZ[`{@1\x00c4\x0416Z");
  ToLowerInPlace(wide);
  EXPECT_EQ(wide, L"az[`{@1\x00e4\x0436z");
  std::string narrow = "aZ[`{@1";
  ToUpperInPlace(narrow);
  EXPECT_EQ(narrow, "AZ[`{@1");
  ToLowerInPlace(narrow);
  EXPECT_EQ(narrow, "az[`{@1");
  std::wstring empty;
  ToLowerInPlace(empty);
  EXPECT_EQ(empty, L"");
}

TEST(Text, ComparesHeadsAndTails) {
  EXPECT_TRUE(EndsWith(L"abc", L"bc"));
  EXPECT_TRUE(EndsWith(L"abc", L""));
  EXPECT_FALSE(EndsWith(L"abc", L"BC"));
  EXPECT_FALSE(EndsWith("bc", "abc"));
  EXPECT_TRUE(StartsWith("abc", "ab"));
  EXPECT_FALSE(StartsWith(L"ab", L"abc"));
  EXPECT_TRUE(MatchesAt("abc", 1, "bc"));
  EXPECT_TRUE(MatchesAt(L"abc", 3, L""));
  EXPECT_FALSE(MatchesAt(L"abc", 2, L"cd"));
  EXPECT_FALSE(MatchesAt("abc", 4, ""));
  EXPECT_FALSE(MatchesAt("abc", std::string::npos, "abc"));
}

TEST(Text, ComparesWithoutCase) {
  EXPECT_TRUE(EqualsNoCase(L"Stra\x00c4", L"sTRA\x00e4"));
  EXPECT_TRUE(EqualsNoCase(L"", L""));
  EXPECT_FALSE(EqualsNoCase(L"a", L""));
  EXPECT_FALSE(EqualsNoCase(L"ab", L"abc"));
  EXPECT_TRUE(EndsWithNoCase(L"C:\\A.EXE", L".exe"));
  EXPECT_FALSE(EndsWithNoCase(L"exe", L".exe"));
  EXPECT_TRUE(EndsWithNoCase(L"x", L""));
  EXPECT_TRUE(StartsWithNoCase(L"HTTP://x", L"http:"));
  EXPECT_TRUE(StartsWithNoCase("HTTP://x", "http:"));
  EXPECT_FALSE(StartsWithNoCase("HTT", "http:"));
  EXPECT_TRUE(StartsWithNoCase("x", ""));
}

TEST(Text, FoldsAsTheSystemDoes) {
  for (unsigned code = 0; code <= 0xFFFF; ++code) {
    const auto character = static_cast<wchar_t>(code);
    wchar_t expected = character;
    CharUpperBuffW(&expected, 1);
    ASSERT_EQ(FoldChar(character), expected) << std::hex << code;
  }
  EXPECT_TRUE(CharEqualsNoCase(L'\x00e4', L'\x00c4'));
  EXPECT_FALSE(CharEqualsNoCase(L'[', L'{'));
}

TEST(Text, TellsAsciiApart) {
  EXPECT_TRUE(IsAscii(""));
  EXPECT_TRUE(IsAscii(L"a\x7f"));
  EXPECT_FALSE(IsAscii(L"a\x80"));
  EXPECT_FALSE(IsAscii("\xff"));
}

TEST(Text, ShowsBinaryDataAsText) {
  const unsigned char bytes[] = {0x00, 0x9a, 0xff};
  EXPECT_EQ(HexText(bytes, sizeof(bytes)), L"009AFF");
  EXPECT_EQ(HexText(nullptr, 0), L"");
  const GUID guid = {0x1234abcd, 0x12, 0xf3, {1, 2, 3, 4, 5, 6, 7, 0xff}};
  EXPECT_EQ(GuidToText(guid), L"{1234abcd-0012-00f3-0102-0304050607ff}");
  EXPECT_EQ(GuidToText(GUID{}), L"{00000000-0000-0000-0000-000000000000}");
}

TEST(Text, EscapesXml) {
  std::string text = "a<b&c>\"'&amp;";
  XmlEscape(text);
  EXPECT_EQ(text, "a&lt;b&amp;c&gt;&quot;&apos;&amp;amp;");
}

TEST(Text, WidensBytesOfTheAnsiCodePage) {
  EXPECT_EQ(WideFromAnsi(""), L"");
  EXPECT_EQ(WideFromAnsi(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(Text, KeepsTheLastError) {
  SetLastError(1234);
  FormatWide(L"%u", 1);
  EqualsNoCase(L"a", L"A");
  DebugPrint(L"%s", L"text");
  std::wstring text = L"\x00e4";
  ToUpperInPlace(text);
  EXPECT_EQ(GetLastError(), 1234u);
}

}  // namespace
}  // namespace vel
