#include "menus/ConfigureDialog.h"

#include <exception>

#include "common/DebugReport.h"
#include "menus/Dialogs.h"
#include "menus/Resource.h"
#include "menus/Settings.h"
#include "vel/StringIds.h"

namespace velmenus {
namespace {

HINSTANCE own_instance() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                         GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<const wchar_t*>(&own_instance), &module);
  return module;
}

}  // namespace

void ConfigureDialog::run() {
  const INT_PTR result = DialogBoxParamW(
      own_instance(), MAKEINTRESOURCEW(VELMENUS_CONFIGURE_DIALOG), nullptr,
      &procedure, reinterpret_cast<LPARAM>(this));
  if (result == -1) {
    companion::debug_report(L"menus", L"the configure dialog", GetLastError());
  }
}

INT_PTR CALLBACK ConfigureDialog::procedure(HWND window, UINT message,
                                            WPARAM wparam, LPARAM lparam) {
  const int command = LOWORD(wparam);
  const bool ends =
      message == WM_COMMAND && (command == IDOK || command == IDCANCEL);
  if (message != WM_INITDIALOG && !ends) return FALSE;
  try {
    if (message == WM_INITDIALOG) {
      SetWindowLongPtrW(window, DWLP_USER, lparam);
      reinterpret_cast<const ConfigureDialog*>(lparam)->on_init(window);
    } else if (command == IDOK) {
      reinterpret_cast<const ConfigureDialog*>(
          GetWindowLongPtrW(window, DWLP_USER))
          ->on_ok(window);
    }
  } catch (const std::exception&) {
    companion::debug_report(L"menus", L"the configure dialog",
                            ERROR_NOT_ENOUGH_MEMORY);
  }
  if (ends) EndDialog(window, command);
  return TRUE;
}

void ConfigureDialog::set_text(HWND window, int control, UINT number) const {
  SetDlgItemTextW(window, control, _core->texts.get(number).c_str());
}

void ConfigureDialog::on_init(HWND window) const {
  SetWindowTextW(window, _core->texts.get(VEL_STRING_CONFIGURE_TITLE).c_str());
  set_text(window, VELMENUS_DEFAULT_LABEL, VEL_STRING_CONFIGURE_DEFAULT);
  set_text(window, VELMENUS_AUTO_START, VEL_STRING_MENU_START_WITH_WINDOWS);
  set_text(window, IDOK, VEL_STRING_OK);
  set_text(window, IDCANCEL, VEL_STRING_CANCEL);

  const HWND list = GetDlgItem(window, VELMENUS_DEFAULT_LIST);
  const std::wstring chosen = chosen_configuration(_core->configurations);
  for (const std::wstring& each : _core->configurations) {
    const LRESULT index = SendMessageW(list, CB_ADDSTRING, 0,
                                       reinterpret_cast<LPARAM>(each.c_str()));
    if (each == chosen) {
      SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
    }
  }
  CheckDlgButton(window, VELMENUS_AUTO_START,
                 starts_with_windows() ? BST_CHECKED : BST_UNCHECKED);
  SetForegroundWindow(window);
}

void ConfigureDialog::on_ok(HWND window) const {
  const LRESULT index =
      SendDlgItemMessageW(window, VELMENUS_DEFAULT_LIST, CB_GETCURSEL, 0, 0);
  DWORD error = ERROR_SUCCESS;
  if (index >= 0) {
    error = set_chosen_configuration(
        _core->configurations[static_cast<std::size_t>(index)]);
  }
  if (error == ERROR_SUCCESS) {
    error = set_starts_with_windows(
        IsDlgButtonChecked(window, VELMENUS_AUTO_START) == BST_CHECKED);
  }
  settings_written(_core, error);
}

}  // namespace velmenus
