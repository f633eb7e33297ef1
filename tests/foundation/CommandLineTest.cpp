#include "foundation/CommandLine.h"

#include <gtest/gtest.h>

#include "foundation/Environment.h"

namespace vel {
namespace {

using namespace std::string_literals;
using List = std::vector<std::wstring>;

List list_of(const std::wstring& cmd_line, std::wstring_view key) {
  List list;
  get_param_list(cmd_line, key, list);
  return list;
}

TEST(CommandLine, ReadsSingleValues) {
  const struct {
    std::wstring cmd_line;
    const wchar_t* expected;
  } rows[] = {
      {L"/a=\"1\"", L"1"},
      {L"/a=\"1\" /a=\"2\"", L"2"},
      {L"\"C:\\dir\\prog.exe\" /b=\"0\"/a=\"1\"tail", L"1"},
      {L"xx/a=\"1\"", L"1"},
      {L"/a= \"x\"", L"x"},
      {L"/a=\"\" /a= \"x\"", L"x"},
      {L"/a=\"y\" /a= \"x\"", L"y"},
      {L"/a=\"1\" /a=\"\"", L""},
      {L"/a=  \"x\"", L""},
      {L"/a=\"x", L""},
      {L"/a=\"1\" /a=\"2", L"1"},
      {L"/A=\"1\"", L""},
      {L"/a=1", L""},
      {L"/b=\"/a=\"in\"", L"in"},
      {L"", L""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(get_param(row.cmd_line, L"a"), row.expected)
        << testing::PrintToString(row.cmd_line);
  }
}

TEST(CommandLine, ReadsMultipleValues) {
  EXPECT_EQ(get_param(L"/a=\"1\" /a=\"2\"", L"a", false), L"1\r2\r");
  EXPECT_EQ(list_of(L"/a=\"1\" /a=\"\" /a=\"2\"", L"a"), (List{L"1", L"2"}));
  EXPECT_EQ(list_of(L"/a=\"1\r2\"", L"a"), (List{L"1", L"2"}));
  EXPECT_EQ(list_of(L"/a= \"1\" /a= \"2\"", L"a"), (List{L"1", L"2"}));
  EXPECT_EQ(list_of(L"/b=\"1\"", L"a"), List{});

  List list = {L"0"};
  get_param_list(L"/a=\"1\"", L"a", list);
  EXPECT_EQ(list, (List{L"0", L"1"}));
}

TEST(CommandLine, ReadsNumbers) {
  EXPECT_EQ(get_uint_param(L"/n=\"17\"", L"n", 5), 17u);
  EXPECT_EQ(get_uint_param(L"/n=\" 12abc\"", L"n", 5), 12u);
  EXPECT_EQ(get_uint_param(L"/n=\"-1\"", L"n", 5), 0xFFFFFFFFu);
  EXPECT_EQ(get_uint_param(L"/n=\"\"", L"n", 5), 5u);
  EXPECT_EQ(get_uint_param(L"", L"n", 5), 5u);
  // An errno that an earlier call left behind doesn't count.
  errno = ERANGE;
  EXPECT_EQ(get_uint_param(L"/n=\"0\"", L"n", 5), 0u);
}

TEST(CommandLine, UnescapesThreePairs) {
  const struct {
    std::wstring escaped, text;
  } rows[] = {
      {L"\7"
       L"1",
       L"\7"},
      {L"a\7"
       L"2b",
       L"a\"b"},
      {L"\7"
       L"3",
       L"\0"s},
      {L"\7"
       L"4",
       L"\7"
       L"4"},
      {L"end\7", L"end\7"},
      {L"\7", L"\7"},
      // The first pair gives BEL, which doesn't begin another pair.
      {L"\7"
       L"12",
       L"\7"
       L"2"},
      {L"\7\7"
       L"2",
       L"\7\""},
  };
  for (const auto& row : rows) {
    std::wstring text = row.escaped;
    unescape_value(text);
    EXPECT_EQ(text, row.text) << testing::PrintToString(row.escaped);
  }
}

TEST(CommandLine, KeepsEveryCharacterOverARoundTrip) {
  const std::wstring values[] = {L"plain", L"a\"b\7c\0d"s,
                                 L"\7"
                                 L"2",
                                 L"\"\"", L"tail\\"};
  for (const std::wstring& value : values) {
    std::wstring line = L"prog.exe";
    add_param(line, L"key", value);
    add_param(line, L"other", 1);
    EXPECT_EQ(get_param(line, L"key"), value) << testing::PrintToString(value);
  }
}

TEST(CommandLine, WritesArguments) {
  std::wstring line;
  add_param(line, L"a", L"1 2");
  add_param(line, L"n", -7);
  add_param(line, L"e", L"");
  EXPECT_EQ(line, L"/a=\"1 2\" /n=\"-7\" /e=\"\"");
}

TEST(CommandLine, AppliesEnvironmentSettings) {
  set_env(L"VELTEST_BASE", L"base", true);
  set_env(L"VELTEST_B", L"old", true);
  apply_env_params(
      L"/env=\"VELTEST_A=%VELTEST_BASE%\\x\" /env=\"VELTEST_B\" "
      L"/env=\"VELTEST_C=%VELTEST_A%=1\" /env=\"VELTEST_D=%VELTEST_NO%\\x\"");
  EXPECT_EQ(process_env(L"VELTEST_A"), L"base\\x");
  EXPECT_EQ(process_env(L"VELTEST_B"), L"");
  EXPECT_EQ(process_env(L"VELTEST_C"), L"base\\x=1");
  EXPECT_EQ(process_env(L"VELTEST_D"), L"%VELTEST_NO%\\x");
}

}  // namespace
}  // namespace vel
