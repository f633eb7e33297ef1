// SessionView: shows what a session looks like from inside.
//
// It belongs to the windows' subsystem, so that a URL opens a window and no
// console beside it. `--text` therefore attaches itself to the console that it
// was started from; cmd.exe doesn't wait for such a program at its prompt, but
// does in a batch file, with "start /wait" and where the output goes to a pipe.
#include <windows.h>
#include <shellapi.h>

#include <string>
#include <vector>

#include "SessionView/Options.h"
#include "SessionView/Output.h"
#include "SessionView/Report.h"
#include "SessionView/Window.h"

namespace sessionview {
namespace {

enum ExitCode : int { kDone = 0, kFailed = 1 };

std::vector<std::wstring> own_arguments() {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  if (words == nullptr) return {};
  std::vector<std::wstring> arguments(words + 1, words + count);
  LocalFree(words);
  return arguments;
}

std::wstring title(const std::vector<std::wstring>& opened_with) {
  std::wstring title;
  for (const std::wstring& argument : opened_with) title += argument + L" - ";
  const std::wstring name = configuration();
  title += name.empty() ? L"outside of a session" : name;
  return title + L" - SessionView";
}

bool run(HINSTANCE instance, int show) {
  const Options options = parse_options(own_arguments());
  if (options.help) return print_text(kUsage);
  if (options.list) return print_text(Window::open_titles());
  const std::wstring report = make_report(options.opened_with);
  return options.text
             ? print_text(report)
             : Window(instance, title(options.opened_with), report).run(show);
}

}  // namespace
}  // namespace sessionview

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, LPWSTR, int show) {
  return sessionview::run(instance, show) ? sessionview::kDone
                                          : sessionview::kFailed;
}
