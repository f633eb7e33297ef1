#include "tray/RunCommand.h"

#include <gtest/gtest.h>

#include "foundation/LongPath.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

// BEL and 2 stand for a quote inside a value.
constexpr const wchar_t* kCommands[][2] = {
    // URLs: up to the next blank, in their own case, http before the others.
    {L"B.exe HTTP://X/a b", L"Normal: ||HTTP://X/a||"},
    {L"B.exe ftp://a http://b", L"Normal: ||http://b||"},
    {L"/shex_cfg=\"P\" ftp://a https://b?q=1", L"P: ||https://b?q=1||"},
    // An action of its own: no URL is looked for.
    {L"/shex_verb=\"open\" http://x", L"Normal: open||||"},
    {L"/shex_cfg=\"c\" /shex_verb=\"v\" /shex_file=\"f\" /shex_dir=\"d\" "
     L"/shex_par=\"p\" /shex_class=\"k\"",
     L"c: v|d|f|p|k"},
    // No action.
    {L"", L"Normal"},
    {L"/shex_cfg=\"Privacy\" /shex_class=\"k\"", L"Privacy"},
    // The file's name repeated in the parameters, bare, quoted, further on.
    {L"/shex_file=\"C:\\a.exe\" /shex_par=\"C:\\A.EXE -x\"",
     L"Normal: ||C:\\a.exe| -x|"},
    {L"/shex_file=\"C:\\a.htm\" /shex_par=\"\a2C:\\a.htm\a2\"",
     L"Normal: ||C:\\a.htm||"},
    {L"/shex_file=\"C:\\a.exe\" /shex_par=\"--C:\\a.exe\"",
     L"Normal: ||C:\\a.exe|--C:\\a.exe|"},
    // A web page goes whole, quoted and in lower case.
    {L"/shex_file=\"C:\\p.exe\" /shex_par=\"x.HTML\"",
     L"Normal: ||C:\\p.exe|\"x.html\"|"},
    {L"/shex_file=\"C:\\p.exe\" /shex_par=\"C:\\P.exe X.htm\"",
     L"Normal: ||C:\\p.exe|\"c:\\p.exe x.htm\"|"},
    {L"/shex_par=\"x.htm -k\"", L"Normal: |||x.htm -k|"},
};

TEST(RunCommand, ReadsWhatIsToBeStarted) {
  for (const auto& [cmd_line, expected] : kCommands) {
    const RunCommand command = parse_runcmd(cmd_line);
    std::wstring read = command.config;
    if (command.has_action) {
      read += L": " + command.verb + L'|' + command.directory + L'|' +
              command.file + L'|' + command.parameters + L'|' +
              command.class_name;
    }
    EXPECT_EQ(read, expected) << cmd_line;
  }
}

TEST(RunCommand, CutsTheShortNameWhereTheLongOneIsAbsent) {
  const test::ScratchDirectory scratch;
  const std::wstring file = scratch.Write(L"a long file name.exe", "");
  const std::wstring line = L"/shex_file=\"" + file + L"\" /shex_par=\"\a2" +
                            short_path(file) + L"\a2 -x\"";
  EXPECT_EQ(parse_runcmd(line).parameters, L" -x");
}

}  // namespace
}  // namespace vel
