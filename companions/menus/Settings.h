// What the plug-in keeps in the user's registry, under
// Software\Tessavane\VEL. Read anew each time, since others may write it.
#ifndef VEL_COMPANIONS_MENUS_SETTINGS_H_
#define VEL_COMPANIONS_MENUS_SETTINGS_H_

#include <windows.h>

#include <string>
#include <vector>

namespace velmenus {

// The names in the plug-in's parameters, divided by semicolons, blanks around
// them left out; "Normal" when there are none.
std::vector<std::wstring> parse_configurations(const wchar_t* parameters);

// The configuration that the user has chosen, if `configurations` still has
// it; else the first of them.
std::wstring chosen_configuration(
    const std::vector<std::wstring>& configurations);

// Whether the tray starts with Windows. It does unless it was switched off.
bool starts_with_windows();

// A system error code each.
DWORD set_chosen_configuration(const std::wstring& configuration);
DWORD set_starts_with_windows(bool on);

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_SETTINGS_H_
