#include "foundation/WildcardMatch.h"

#include <gtest/gtest.h>

#include <string>

namespace vel {
namespace {

TEST(WildcardMatch, MatchesPatterns) {
  const struct {
    const wchar_t* name;
    const wchar_t* pattern;
    bool matches;
  } rows[] = {
      {L"", L"", true},
      {L"", L"*", true},
      {L"", L"**", true},
      {L"", L"?", false},
      {L"", L"*a", false},
      {L"abc", L"", false},
      {L"abc", L"abc", true},
      {L"abc", L"ABC", true},
      {L"abc", L"ab", false},
      {L"ab", L"abc", false},
      {L"abc", L"a?c", true},
      {L"abc", L"abc?", false},
      {L"abc", L"abc*", true},
      {L"abc", L"*", true},
      {L"abc", L"a*", true},
      {L"abc", L"*c", true},
      {L"abc", L"*b*", true},
      {L"abc", L"*d*", false},
      {L"abc", L"?*?", true},
      {L"a", L"?*?", false},
      // The star must take more than the first chance it gets.
      {L"aab", L"*ab", true},
      {L"mississippi", L"m*is*ip*", true},
      {L"mississippi", L"m*is*p*s", false},
      {L"abcabcd", L"*abcd", true},
      // A star in the name is a character like any other.
      {L"a*c", L"a*c", true},
      {L"*", L"?", true},
      {L"\x00e4", L"\x00c4", true},
      {L"[", L"{", false},
      {L"@", L"`", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(VelWildcardMatch(row.name, row.pattern), row.matches)
        << testing::PrintToString(row.name) << " "
        << testing::PrintToString(row.pattern);
  }
}

TEST(WildcardMatch, ComparesExactlyInTheOtherForm) {
  EXPECT_FALSE(VelWildcardMatchCase(L"abc", L"a*C"));
  EXPECT_TRUE(VelWildcardMatchCase(L"abC", L"a*C"));
  EXPECT_FALSE(VelWildcardMatchCase(L"abc", L"A?c"));
}

// A scan that tried every star anew would not come back from this.
TEST(WildcardMatch, DoesNotGoBackPastTheLastStar) {
  const std::wstring name(2000, L'a');
  std::wstring pattern;
  for (int i = 0; i < 30; ++i) pattern += L"*a";
  EXPECT_TRUE(VelWildcardMatch(name, pattern));
  EXPECT_FALSE(VelWildcardMatch(name, pattern + L"*b"));
}

}  // namespace
}  // namespace vel
