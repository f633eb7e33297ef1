#include "tray/RunCommand.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include "foundation/CommandLine.h"
#include "foundation/LongPath.h"
#include "foundation/PathParts.h"
#include "foundation/Product.h"
#include "foundation/Text.h"
#include "tray/LeadingPosition.h"

namespace vel {
namespace {

constexpr wchar_t kDefaultConfig[] = L"Normal";
constexpr wchar_t kCorporateConfig[] = L"KR-Corporate";

// The first kind that occurs anywhere wins, even where a later kind stands
// further to the left.
constexpr const wchar_t* kUrlKinds[] = {L"http://", L"https://", L"ftp://"};

// The first URL of the line up to the next blank, in its own case; empty when
// there is none.
std::wstring find_url(const std::wstring& cmd_line) {
  const std::wstring lower = lower_case(cmd_line);
  for (const wchar_t* kind : kUrlKinds) {
    const std::size_t begin = lower.find(kind);
    if (begin == std::wstring::npos) continue;
    const std::size_t end = cmd_line.find(L' ', begin + 1);
    return cmd_line.substr(begin, end - begin);
  }
  return {};
}

// Cuts `name` out of `parameters` where it stands at the beginning, or behind
// the leading quote. Both are compared in lower case; `lower` is the lower-case
// form of `parameters`.
bool cut_name(std::wstring& parameters, const std::wstring& lower,
              const std::wstring& name) {
  const std::size_t position = leading_position<std::wstring_view>(lower, name);
  if (position == std::wstring_view::npos) return false;
  parameters.erase(position, name.size());
  return true;
}

// An association's command puts the file's name into the parameters once more.
std::wstring tidy_parameters(std::wstring parameters,
                             const std::wstring& file) {
  const std::wstring uncut = lower_case(parameters);
  if (!cut_name(parameters, uncut, lower_case(long_path(file)))) {
    cut_name(parameters, uncut, lower_case(short_path(file)));
  }
  // The quotes that enclosed the name.
  if (parameters.starts_with(L"\"\"")) parameters.erase(0, 2);
  // A web page goes to the browser as one argument, whole: the test looks at
  // what is left, but the page's name is the uncut text.
  if (EndsWithNoCase(parameters, L".htm") ||
      EndsWithNoCase(parameters, L".html")) {
    return L"\"" + uncut + L"\"";
  }
  return parameters;
}

}  // namespace

RunCommand parse_runcmd(const std::wstring& cmd_line) {
  RunCommand command;
  command.config = get_param(cmd_line, L"shex_cfg", true);
  command.verb = get_param(cmd_line, L"shex_verb", true);
  command.file = get_param(cmd_line, L"shex_file", true);
  command.directory = get_param(cmd_line, L"shex_dir", true);
  command.parameters = get_param(cmd_line, L"shex_par", true);
  command.class_name = get_param(cmd_line, L"shex_class", true);
  command.has_action = !command.verb.empty() || !command.file.empty() ||
                       !command.directory.empty() ||
                       !command.parameters.empty();
  if (!command.has_action) {
    const std::wstring url = find_url(cmd_line);
    if (!url.empty()) {
      command.file = url;
      command.has_action = true;
    }
  }
  if (command.config.empty()) {
    command.config =
        is_corporate_deployment() ? kCorporateConfig : kDefaultConfig;
  }
  command.parameters =
      tidy_parameters(std::move(command.parameters), command.file);
  return command;
}

}  // namespace vel
