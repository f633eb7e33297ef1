// The parts of the menus plug-in that need no tray: its parameters, and the
// run command that it writes.
#include <gtest/gtest.h>

#include "foundation/CommandLine.h"
#include "menus/Settings.h"
#include "menus/TrayLink.h"

namespace velmenus {
namespace {

using Names = std::vector<std::wstring>;

TEST(MenusSettings, ParametersNameTheConfigurations) {
  const struct {
    const wchar_t* parameters;
    Names names;
  } cases[] = {
      {L"", {L"Normal"}},
      {L" ; ;", {L"Normal"}},
      {L"Normal;Privacy", {L"Normal", L"Privacy"}},
      {L" Work at home ;;Privacy;", {L"Work at home", L"Privacy"}},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(parse_configurations(each.parameters), each.names);
  }
}

TEST(TrayLink, TheRunCommandReadsBackAsItWasMeant) {
  const std::wstring names[] = {L"Normal", L"with \"quotes\"",
                                L"with BEL \a and \a2"};
  for (const std::wstring& config : names) {
    const std::wstring file = L"C:\\a b\\" + config;
    const std::wstring command = open_command(config, file);
    EXPECT_EQ(vel::get_param(command, L"shex_cfg", true), config);
    EXPECT_EQ(vel::get_param(command, L"shex_file", true), file);
  }
}

}  // namespace
}  // namespace velmenus
