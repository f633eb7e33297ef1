#include "process/VelInstallMode.h"

#include <gtest/gtest.h>

#include "foundation/Product.h"
#include "foundation/Registry.h"

namespace vel {
namespace {

std::wstring steps_taken;
bool tray_runs = false;
bool steps_work = true;

template <wchar_t kLetter>
bool step() {
  steps_taken += kLetter;
  return steps_work;
}
template <wchar_t kLetter>
void silent_step() {
  steps_taken += kLetter;
}

constexpr VelInstallSteps kSteps = {
    [] { return tray_runs; },
    &step<L'T'>,
    [](const wchar_t* reason) {
      steps_taken += std::wstring(L"<") + reason + L">";
      return false;
    },
    &step<L'G'>,
    &step<L'A'>,
    &step<L'O'>,
    &silent_step<L'I'>,
    &silent_step<L'U'>,
    &silent_step<L'D'>,
    &silent_step<L'B'>,
    &silent_step<L'X'>,
    [](bool pending) { steps_taken += pending ? L'P' : L'p'; }};

TEST(VelInstallModeTest, TheFirstTokenDecidesAndStepsRunOnInTheirOrder) {
  const struct {
    const wchar_t* tokens;
    bool tray;
    bool work;
    int code;
    const wchar_t* steps;
  } cases[] = {
      {L"[uninstall]", false, true, 0, L"<uninstall>AOUDB"},
      {L"[uninstall]", false, false, 1, L"<uninstall>AOUDB"},
      {L"[uninstall]", true, true, 0, L"T<uninstall>AOUDB"},
      {L"[uninstall]", true, false, 2, L"T"},
      {L"[install][uninstall]", false, true, 0, L"<uninstall>AOUDB"},
      {L"[install]", true, true, 0, L"PGUIX<install>"},
      {L"[install]", false, false, 2, L"PGUIX<install>"},
      {L"[noreboot][install]", false, true, 0, L"PGUIX<install>"},
      {L"[noreboot]", false, true, 0, L"p"},
      {L"install", false, true, 0, L""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.tokens << c.tray << c.work);
    steps_taken.clear();
    tray_runs = c.tray;
    steps_work = c.work;
    EXPECT_EQ(vel_install_mode_with(kSteps, std::wstring(L"x.exe /velinst=\"") +
                                                c.tokens + L"\""),
              c.code);
    EXPECT_EQ(steps_taken, c.steps);
  }
}

TEST(VelInstallModeTest, TakesBackOnlyTheProductsOwnDownloadHandler) {
  constexpr wchar_t kOwn[] = L"{93711F64-F9D7-4f1d-B013-21E88CB69D8A}";
  constexpr wchar_t kExplorer[] = L"Software\\Microsoft\\Internet Explorer";
  const struct {
    const wchar_t* current;
    const wchar_t* previous;
    const wchar_t* afterwards;
  } cases[] = {
      {kOwn, L"{1}", L"{1}"}, {kOwn, L"", L""}, {L"{2}", L"{1}", L"{2}"}};
  for (const auto& c : cases) {
    RegSetString(HKEY_CURRENT_USER, kExplorer, L"DownloadUI", c.current, 0);
    RegSetString(HKEY_CURRENT_USER, kProductKey, L"PrevIEDownloadUI",
                 c.previous, 0);
    restore_ie_download_ui();
    EXPECT_EQ(RegGetString(HKEY_CURRENT_USER, kExplorer, L"DownloadUI", 0),
              c.afterwards);
  }
  RegRemoveValue(HKEY_CURRENT_USER, kExplorer, L"DownloadUI", 0);
  RegRemoveValue(HKEY_CURRENT_USER, kProductKey, L"PrevIEDownloadUI", 0);
}

}  // namespace
}  // namespace vel
