#include "SessionView/Options.h"

namespace sessionview {

const wchar_t kUsage[] =
    L"SessionView [URL|FILE]         shows what a session lets its programs "
    L"do\r\n"
    L"SessionView --text [URL|FILE]  prints it\r\n";

Options parse_options(const std::vector<std::wstring>& arguments) {
  Options options;
  auto first = arguments.begin();
  if (first != arguments.end()) {
    options.text = *first == L"--text";
    options.help = *first == L"--help";
    if (options.text || options.help) ++first;
  }
  options.opened_with.assign(first, arguments.end());
  return options;
}

}  // namespace sessionview
