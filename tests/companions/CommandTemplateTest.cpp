#include "session/CommandTemplate.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "session/SessionEnvironment.h"

namespace velul {
namespace {

TEST(CommandTemplate, PlacesAreFilledIn) {
  const CommandArguments arguments = {L"C:\\a b.txt", L"-x \"y\"", L"C:\\d"};
  const struct {
    const wchar_t* command_template;
    const wchar_t* result;
  } cases[] = {
      {L"p.exe \"%1\"", L"p.exe \"C:\\a b.txt\""},
      {L"p.exe \"%L\" %*", L"p.exe \"C:\\a b.txt\" -x \"y\""},
      {L"p.exe %v /w %W", L"p.exe C:\\a b.txt /w C:\\d"},
      {L"p.exe -n 100%% %1", L"p.exe -n 100% C:\\a b.txt"},
      {L"p.exe %1 [%2] [%i] [%S]", L"p.exe C:\\a b.txt [] [] []"},
      {L"C:\\%x%\\p.exe %1", L"C:\\%x%\\p.exe C:\\a b.txt"},
      {L"p.exe", L"p.exe \"C:\\a b.txt\""},
      {L"p.exe %", L"p.exe % \"C:\\a b.txt\""},
      {L"", L" \"C:\\a b.txt\""},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(fill_command_template(each.command_template, arguments),
              each.result);
  }
}

TEST(CommandTemplate, WhatIsFilledInIsNotReadAgain) {
  EXPECT_EQ(fill_command_template(L"p %1 %*", {L"http://h/%20%1", L"%1", L""}),
            L"p http://h/%20%1 %1");
}

TEST(CommandTemplate, TheProgramIsTheFirstWordOrTheQuotedOne) {
  EXPECT_EQ(program_of(L"\"C:\\a b\\p.exe\" \"%1\""), L"C:\\a b\\p.exe");
  EXPECT_EQ(program_of(L"p.exe -x"), L"p.exe");
  EXPECT_EQ(program_of(L"p.exe"), L"p.exe");
  EXPECT_EQ(program_of(L"\"open end"), L"open end");
  EXPECT_EQ(program_of(L""), L"");
}

// All lines of a block.
std::vector<std::wstring> LinesOf(const std::wstring& block) {
  std::vector<std::wstring> lines;
  for (const wchar_t* line = block.c_str(); *line; line += wcslen(line) + 1) {
    lines.emplace_back(line);
  }
  return lines;
}

bool Holds(const std::vector<std::wstring>& lines, const std::wstring& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(SessionEnvironment, ChangesReplaceAddAndRemoveWithoutRegardToCase) {
  SetEnvironmentVariableW(L"VelTestKept", L"a=b");
  SetEnvironmentVariableW(L"VelTestChanged", L"old");
  SetEnvironmentVariableW(L"VelTestGone", L"x");
  const auto lines = LinesOf(make_environment({{L"VELTESTCHANGED", L"new"},
                                               {L"veltestgone", L""},
                                               {L"VelTestNew", L"1"}}));
  for (const wchar_t* name :
       {L"VelTestKept", L"VelTestChanged", L"VelTestGone"}) {
    SetEnvironmentVariableW(name, nullptr);
  }
  EXPECT_TRUE(Holds(lines, L"VelTestKept=a=b"));
  EXPECT_TRUE(Holds(lines, L"VelTestChanged=new"));
  EXPECT_TRUE(Holds(lines, L"VelTestNew=1"));
  EXPECT_FALSE(Holds(lines, L"VelTestGone=x"));
  EXPECT_FALSE(Holds(lines, L"VelTestChanged=old"));
  EXPECT_TRUE(std::is_sorted(
      lines.begin(), lines.end(),
      [](const std::wstring& a, const std::wstring& b) {
        const std::wstring left = a.substr(0, a.find(L'=', 1));
        const std::wstring right = b.substr(0, b.find(L'=', 1));
        return CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1,
                                    TRUE) == CSTR_LESS_THAN;
      }));
}

}  // namespace
}  // namespace velul
