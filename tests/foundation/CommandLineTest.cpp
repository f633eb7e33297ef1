// Arguments and variables.
#include "foundation/CommandLine.h"

#include <gtest/gtest.h>

#include "foundation/Environment.h"
#include "foundation/Paths.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using namespace std::string_literals;
using test::ScopedVariable;
using List = std::vector<std::wstring>;

TEST(CommandLine, ReadsSingleValues) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {LR"(/a="1" /a="2")", L"2"},
      {LR"("C:\dir\prog.exe" /b="0"/a="1"tail)", L"1"},
      {LR"(/a="" /a= "x")", L"x"},
      {LR"(/a=  "x")", L""},
      {LR"(/a="1" /a="2)", L"1"},
      {LR"(/a=1)", L""},
      {LR"(/b="/a="in")", L"in"}};
  for (const auto& [line, value] : rows) {
    EXPECT_EQ(get_param(line, L"a"), value) << testing::PrintToString(line);
  }
}

TEST(CommandLine, ReadsListsAndNumbers) {
  List list = {L"0"};
  get_param_list(L"/a=\"1\" /a=\"\" /a=\"2\r3\"", L"a", list);
  EXPECT_EQ(list, (List{L"0", L"1", L"2", L"3"}));
  EXPECT_EQ(get_uint_param(L"/n=\"-1\"", L"n", 5), 0xFFFFFFFFu);
  // An errno that an earlier call left behind doesn't count.
  errno = ERANGE;
  EXPECT_EQ(get_uint_param(L"/n=\"0\"", L"n", 5), 0u);
}

TEST(CommandLine, UnescapesThreePairs) {
  // The first pair of the last row gives BEL, which begins no other pair.
  const std::pair<std::wstring, std::wstring> rows[] = {
      {L"\0071", L"\7"},    {L"a\0072b", L"a\"b"}, {L"\0073", L"\0"s},
      {L"\0074", L"\0074"}, {L"end\7", L"end\7"},  {L"\00712", L"\0072"}};
  for (const auto& [escaped, expected] : rows) {
    std::wstring text = escaped;
    unescape_value(text);
    EXPECT_EQ(text, expected) << testing::PrintToString(escaped);
  }
}

TEST(CommandLine, KeepsEveryCharacterOverARoundTrip) {
  for (const std::wstring& value :
       {L"plain"s, L"a\"b\7c\0d"s, L"\0072"s, L"\"\""s, L"tail\\"s}) {
    std::wstring line = L"prog.exe";
    add_param(line, L"key", value);
    add_param(line, L"other", -7);
    EXPECT_EQ(get_param(line, L"key"), value) << testing::PrintToString(value);
    EXPECT_TRUE(line.ends_with(L" /other=\"-7\""));
  }
}

TEST(Environment, LooksIntoTheTableFirst) {
  const ScopedVariable variable(L"VELTEST_\x00c4", L"process");
  set_env(L"VelTest_\x00e4", L"table", false);
  EXPECT_EQ(get_env(L"VELTEST_\x00c4"), L"table");
  EXPECT_EQ(process_env(L"VELTEST_\x00c4"), L"process");
  set_env(L"VELTEST_\x00c4", L"", false);
  EXPECT_EQ(get_env(L"VELTEST_\x00c4"), L"process");
}

TEST(Environment, ComputesWhatAnEmptyEnvironmentLacks) {
  const test::ScratchDirectory scratch;
  const ScopedVariable tmp(L"TMP", scratch.path());
  const ScopedVariable temp(L"TEMP", L"");
  const ScopedVariable app_data(L"APPDATA", L"");
  EXPECT_EQ(get_env(L"APPDATA"), temp_directory() + L"\\TmpAppData");
  EXPECT_TRUE(test::FileExists(temp_directory() + L"\\TmpAppData"));
  EXPECT_EQ(expand_env(L"%TEMP%\\x", true), temp_directory() + L"\\x");
}

TEST(Environment, ExpandsReferences) {
  const ScopedVariable variable(L"VELTEST_A", L"value");
  const struct {
    const wchar_t *text, *strict, *lenient;
  } rows[] = {
      {L"1%%2%%3", L"1%2%3", L"1%2%3"},
      {L"x%veltest_a%y%VELTEST_A%z", L"xvalueyvaluez", L"xvalueyvaluez"},
      {L"%VELTEST_NO%%VELTEST_A%", L"", L"%VELTEST_NO%value"},
      {L"%VELTEST_A%%", L"value%", L"value%"},
      // The mark that has no partner is closed at the end of the text.
      {L"%VELTEST_A%+%VELTEST_A", L"value+value", L"value+value"}};
  SetLastError(1234);
  for (const auto& row : rows) {
    EXPECT_EQ(expand_env(row.text, true), row.strict);
    EXPECT_EQ(expand_env(row.text, false), row.lenient);
  }
  EXPECT_EQ(GetLastError(), 1234u);
}

}  // namespace
}  // namespace vel
