// The names that the product goes by, and what its vendor set for this build.
#ifndef VEL_FOUNDATION_PRODUCT_H_
#define VEL_FOUNDATION_PRODUCT_H_

#include "ProductConfig.h"

namespace vel {

inline constexpr wchar_t kProductName[] = L"Brindlemar";
inline constexpr wchar_t kProductExecutableName[] = L"Brindlemar.exe";

// The product's registry key, the same below HKEY_LOCAL_MACHINE and
// HKEY_CURRENT_USER. The second form has the backslash that a subkey's name
// is put behind.
inline constexpr wchar_t kProductKey[] = L"Software\\Tessavane\\VEL";
inline constexpr wchar_t kProductKeyPrefix[] = L"Software\\Tessavane\\VEL\\";

// The folder that the product's data has in a user's application data.
inline constexpr wchar_t kDataFolder[] = L"Tessavane\\";

// Set through the build's cache variables. The hosts of a build that nobody
// has configured end in .invalid.
inline constexpr wchar_t kVendorHost[] = VEL_VENDOR_HOST;
inline constexpr wchar_t kPartnerHost[] = VEL_PARTNER_HOST;
inline constexpr wchar_t kPartnerName[] = VEL_PARTNER_NAME;
inline constexpr wchar_t kStartPage[] = VEL_START_PAGE;
// What Firefox opens with unless its user has chosen a page.
inline constexpr wchar_t kFirefoxStartPage[] =
    L"http://" VEL_FIREFOX_HOST L"/firefox";
// Name of the product's key below
// SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall.
inline constexpr wchar_t kUninstallKeyName[] = VEL_UNINSTALL_KEY;

// Whether this is a corporate deployment: the REG_DWORD `CorporateDeployment`
// below HKEY_LOCAL_MACHINE\Software\Tessavane\VEL is there and isn't 0. Read
// anew at each call.
bool is_corporate_deployment();

}  // namespace vel

#endif  // VEL_FOUNDATION_PRODUCT_H_
