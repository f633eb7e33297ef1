#include "SessionView/Options.h"

namespace sessionview {

const wchar_t kUsage[] =
    L"SessionView [URL|FILE]         shows what a session lets its programs "
    L"do\r\n"
    L"SessionView --text [URL|FILE]  prints it\r\n"
    L"SessionView --list             prints the title of each SessionView "
    L"window\r\n"
    L"                               that is open: what it was opened with, "
    L"the\r\n"
    L"                               session's configuration\r\n";

Options parse_options(const std::vector<std::wstring>& arguments) {
  Options options;
  auto first = arguments.begin();
  if (first != arguments.end()) {
    options.text = *first == L"--text";
    options.list = *first == L"--list";
    options.help = *first == L"--help";
    if (options.text || options.list || options.help) ++first;
  }
  options.opened_with.assign(first, arguments.end());
  return options;
}

}  // namespace sessionview
