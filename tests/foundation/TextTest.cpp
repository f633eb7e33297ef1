// Texts: formats, case, patterns and Base64.
#include "foundation/Text.h"

#include <gtest/gtest.h>

#include "foundation/Base64.h"
#include "foundation/ReplaceChars.h"
#include "foundation/WildcardMatch.h"
#include "support/CountingTraits.h"
#include "support/Thrown.h"

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

TEST(Text, ReplacesCharactersInLinearTime) {
  const auto work = [](std::size_t length) {
    test::CountingString<char> text(length, '<');
    const std::uint64_t touched = test::CharactersTouched<char>([&] {
      ReplaceChars(text, [](char) { return std::string_view("&lt;"); });
    });
    EXPECT_EQ(text.size(), 4 * length);
    return touched;
  };
  EXPECT_LE(work(20000), 2 * work(10000) + 10);
  std::string text = "a<b>&amp;\"'";
  XmlEscape(text);
  EXPECT_EQ(text, "a&lt;b&gt;&amp;amp;&quot;&apos;");
}

TEST(Text, HasTheFormsOfBinaryData) {
  EXPECT_EQ(HexText("\x01\xAF\x00", 3), L"01AF00");
  EXPECT_EQ(GuidToText({0x1A, 2, 0xB, {1, 2, 3, 4, 5, 6, 7, 0xFF}}),
            L"{0000001a-0002-000b-0102-0304050607ff}");
}

TEST(Text, ComparesAtItsEndsAndBetween) {
  const std::tuple<const wchar_t*, std::size_t, const wchar_t*, bool> rows[] = {
      {L"abc", 0, L"ab", true},   {L"abc", 1, L"bc", true},
      {L"abc", 1, L"bcd", false}, {L"abc", 3, L"", true},
      {L"abc", 4, L"", false},    {L"abc", 0, L"AB", false}};
  for (const auto& [text, position, part, is_there] : rows) {
    EXPECT_EQ(MatchesAt(text, position, part), is_there) << text << part;
    EXPECT_EQ(EndsWith(text, part), *part == 0 || (position == 1 && is_there));
  }
  EXPECT_TRUE(IsAscii("a\x7f") && IsAscii(L"") && IsAscii(L"\x7f"));
  EXPECT_FALSE(IsAscii("a\x80") || IsAscii(L"\x80"));
}

std::string to_debugger;

// As a debugger sees it in the form that every system has.
LONG CALLBACK SeeDebugPrint(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode == 0x40010006) {
    to_debugger = reinterpret_cast<char*>(record.ExceptionInformation[1]);
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(Text, GoesToTheDebuggerInALine) {
  void* const handler = AddVectoredExceptionHandler(1, SeeDebugPrint);
  SetLastError(1234);
  DebugPrint(L"%s %u", L"text", 7u);
  EXPECT_EQ(GetLastError(), 1234u);
  RemoveVectoredExceptionHandler(handler);
  EXPECT_EQ(to_debugger, "text 7\n");
}

TEST(WildcardMatch, MatchesPatterns) {
  const std::tuple<const wchar_t*, const wchar_t*, bool> rows[] = {
      {L"", L"", true},           {L"", L"**", true},
      {L"abc", L"", false},       {L"abc", L"ABC", true},
      {L"abc", L"ab", false},     {L"abc", L"abc?", false},
      {L"abc", L"abc*", true},    {L"a", L"?*?", false},
      {L"aab", L"*ab", true},     {L"abab", L"*a*b", true},
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
  const char character[] = "invalid base64 charachter";
  const char length[] = "Base64 decode failed";
  for (const auto& [text, message] :
       {std::pair{"Zm 9", character}, {"=Zm9", character}, {"Zm9vZ", length}}) {
    EXPECT_EQ(test::Thrown([text] { Base64Decode(text); }), message) << text;
  }
}

}  // namespace
}  // namespace vel
