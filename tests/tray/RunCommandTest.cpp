#include "tray/RunCommand.h"

#include <gtest/gtest.h>

#include "foundation/LongPath.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

struct Expected {
  const wchar_t* cmd_line;
  bool has_action;
  const wchar_t* config;
  const wchar_t* file;
  const wchar_t* parameters;
};

// BEL and 2 stand for a quote inside a value.
constexpr Expected kCommands[] = {
    // URLs: up to the next blank, in their own case, http before the others.
    {L"Brindlemar.exe http://x/a b", true, L"Normal", L"http://x/a", L""},
    {L"Brindlemar.exe HTTP://X", true, L"Normal", L"HTTP://X", L""},
    {L"Brindlemar.exe ftp://a http://b", true, L"Normal", L"http://b", L""},
    {L"Brindlemar.exe ftp://a https://b", true, L"Normal", L"https://b", L""},
    {L"Brindlemar.exe /shex_cfg=\"Privacy\" https://c/?q=1", true, L"Privacy",
     L"https://c/?q=1", L""},
    // An action of its own: no URL is looked for.
    {L"/shex_verb=\"open\" http://x", true, L"Normal", L"", L""},
    // No action.
    {L"", false, L"Normal", L"", L""},
    {L"Brindlemar.exe /start_mode=\"auto\"", false, L"Normal", L"", L""},
    {L"/shex_cfg=\"Privacy\"", false, L"Privacy", L"", L""},
    {L"/shex_class=\"htmlfile\"", false, L"Normal", L"", L""},
    // The file's name repeated in the parameters, bare, quoted, further on.
    {L"/shex_file=\"C:\\q\\a.exe\" /shex_par=\"C:\\Q\\A.EXE -x\"", true,
     L"Normal", L"C:\\q\\a.exe", L" -x"},
    {L"/shex_file=\"C:\\q\\a.htm\" /shex_par=\"\a2C:\\q\\a.htm\a2\"", true,
     L"Normal", L"C:\\q\\a.htm", L""},
    {L"/shex_file=\"C:\\q\\a.exe\" /shex_par=\"--C:\\q\\a.exe\"", true,
     L"Normal", L"C:\\q\\a.exe", L"--C:\\q\\a.exe"},
    {L"/shex_file=\"C:\\q\\a.exe\" /shex_par=\"\a2\a2 -x\"", true, L"Normal",
     L"C:\\q\\a.exe", L" -x"},
    // A web page goes whole, quoted and in lower case.
    {L"/shex_file=\"C:\\p.exe\" /shex_par=\"x.HTML\"", true, L"Normal",
     L"C:\\p.exe", L"\"x.html\""},
    {L"/shex_file=\"C:\\p.exe\" /shex_par=\"C:\\P.exe X.htm\"", true, L"Normal",
     L"C:\\p.exe", L"\"c:\\p.exe x.htm\""},
    {L"/shex_file=\"C:\\p.exe\" /shex_par=\"x.htm -k\"", true, L"Normal",
     L"C:\\p.exe", L"x.htm -k"},
    // Parameters alone are an action too.
    {L"/shex_par=\"-x\"", true, L"Normal", L"", L"-x"},
};

TEST(RunCommand, ReadsWhatIsToBeStarted) {
  for (const Expected& expected : kCommands) {
    SCOPED_TRACE(testing::Message() << expected.cmd_line);
    const RunCommand command = parse_runcmd(expected.cmd_line);
    EXPECT_EQ(command.has_action, expected.has_action);
    EXPECT_EQ(command.config, expected.config);
    EXPECT_EQ(command.file, expected.file);
    EXPECT_EQ(command.parameters, expected.parameters);
  }
}

TEST(RunCommand, ReadsEachArgumentIntoItsField) {
  const RunCommand command = parse_runcmd(
      L"/shex_cfg=\"c\" /shex_verb=\"v\" /shex_file=\"f\" /shex_dir=\"d\" "
      L"/shex_par=\"p\" /shex_class=\"k\"");
  EXPECT_EQ(command.config, L"c");
  EXPECT_EQ(command.verb, L"v");
  EXPECT_EQ(command.file, L"f");
  EXPECT_EQ(command.directory, L"d");
  EXPECT_EQ(command.parameters, L"p");
  EXPECT_EQ(command.class_name, L"k");
}

TEST(RunCommand, CutsTheShortNameWhereTheLongOneIsAbsent) {
  const test::ScratchDirectory scratch;
  const std::wstring file = scratch.Write(L"a long file name.exe", "");
  const std::wstring short_form = short_path(file);
  if (short_form == file) {
    GTEST_SKIP() << "the volume has no short names";
  }
  const RunCommand command =
      parse_runcmd(L"/shex_file=\"" + file + L"\" /shex_par=\"\a2" +
                   short_form + L"\a2 -x\"");
  EXPECT_EQ(command.parameters, L" -x");
}

}  // namespace
}  // namespace vel
