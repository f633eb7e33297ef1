#include "sessions/PluginList.h"

#include <gtest/gtest.h>

namespace vel {
namespace {

// Lines as "library|parameters", each in brackets.
std::wstring parsed(std::string_view text) {
  std::wstring result;
  for (const PluginLine& line : parse_plugin_list(text)) {
    result += L'[' + line.file + L'|' + line.parameters + L']';
  }
  return result;
}

TEST(PluginList, ReadsWellAndBadlyFormedLists) {
  const struct {
    std::string_view text;
    const wchar_t* lines;
  } rows[] = {
      {"", L""},
      {"\r\n\r\n", L""},
      {"a.dll\r\n", L"[a.dll|]"},
      {"a.dll\r\nb.dll,x\r\n", L"[a.dll|][b.dll|x]"},
      {"\r\na.dll\r\n\r\nb.dll\r\n", L"[a.dll|][b.dll|]"},
      // The first comma divides, and blanks stay.
      {"a.dll,\r\n", L"[a.dll|]"},
      {"a.dll, x,y ,\r\n", L"[a.dll| x,y ,]"},
      {" a.dll ,\r\n", L"[ a.dll |]"},
      {",x\r\n", L"[|x]"},
      {"#a.dll\r\n;b\r\n", L"[#a.dll|][;b|]"},
      // A line that isn't ended counts as an empty one.
      {"a.dll", L"[|]"},
      {"a.dll\r\nb.dll", L"[a.dll|][|]"},
      {"a.dll\r\n\n", L"[a.dll|][|]"},
      // Only CR LF ends a line.
      {"a.dll\nb.dll\r\n", L"[a.dll\nb.dll|]"},
      {"a.dll\rb.dll\r\r\n", L"[a.dll\rb.dll\r|]"},
      {"\n\r\n", L"[\n|]"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(row.lines, parsed(row.text)) << row.text;
}

}  // namespace
}  // namespace vel
