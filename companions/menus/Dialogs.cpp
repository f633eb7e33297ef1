#include "menus/Dialogs.h"

#include <windows.h>

#include <commdlg.h>

#include "ProductConfig.h"
#include "common/DebugReport.h"
#include "menus/Background.h"
#include "menus/ConfigureDialog.h"
#include "menus/OpenTasks.h"
#include "vel/StringIds.h"

namespace velmenus {
namespace {

constexpr wchar_t kVersion[] = L"" VEL_VERSION_TEXT;

// Empty when the user has chosen none.
std::wstring ask_for_file(const Texts& texts) {
  std::wstring filter = texts.get(VEL_STRING_MENU_ALL_FILES);
  filter.append(1, L'\0').append(L"*.*").append(1, L'\0');
  std::wstring file(32768, L'\0');
  OPENFILENAMEW parameters = {};
  parameters.lStructSize = sizeof parameters;
  parameters.lpstrFilter = filter.c_str();
  parameters.lpstrFile = file.data();
  parameters.nMaxFile = static_cast<DWORD>(file.size());
  parameters.Flags =
      OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  if (GetOpenFileNameW(&parameters)) {
    file.resize(wcslen(file.c_str()));
    return file;
  }
  if (const DWORD error = CommDlgExtendedError()) {
    companion::debug_report(L"menus", L"the file dialog", error);
  }
  return {};
}

void show_box(const MenusCore& core, const std::wstring& text, UINT icon) {
  MessageBoxW(nullptr, text.c_str(),
              core.texts.get(VEL_STRING_PRODUCT_NAME).c_str(),
              MB_OK | MB_SETFOREGROUND | icon);
}

}  // namespace

void open_file_dialog(const MenusCorePtr& core) {
  background::open_dialog(background::Dialog::kOpenFile, [core] {
    const std::wstring file = ask_for_file(core->texts);
    if (!file.empty()) open_in_session(core, file);
  });
}

void open_configure_dialog(const MenusCorePtr& core) {
  background::open_dialog(background::Dialog::kConfigure,
                          [core] { ConfigureDialog(core).run(); });
}

void open_about_dialog(const MenusCorePtr& core) {
  background::open_dialog(background::Dialog::kAbout, [core] {
    const std::wstring product = core->texts.get(VEL_STRING_PRODUCT_NAME);
    show_box(
        *core,
        core->texts.format(VEL_STRING_ABOUT_TEXT, product.c_str(), kVersion),
        MB_ICONINFORMATION);
  });
}

void show_message(const MenusCorePtr& core, const std::wstring& text) {
  background::open_dialog(background::Dialog::kMessage, [core, text] {
    show_box(*core, text, MB_ICONWARNING);
  });
}

void settings_written(const MenusCorePtr& core, unsigned long error) {
  if (error != ERROR_SUCCESS) {
    show_message(core, core->texts.format(VEL_STRING_SAVE_FAILED, error));
    return;
  }
  const HostRef::Use host(core->host);
  if (host) host->post_broadcast(vel_broadcast::kUiSettingsChanged, 0, 0);
}

}  // namespace velmenus
