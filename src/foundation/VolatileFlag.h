#ifndef VEL_FOUNDATION_VOLATILEFLAG_H_
#define VEL_FOUNDATION_VOLATILEFLAG_H_

#include <string>

namespace vel {

// Name of the machine-wide flag that an installation sets when it waits for a
// reboot.
inline constexpr wchar_t kInstallPendingFlag[] = L"InstallPending";

// A boolean that lives until Windows is started anew: a volatile registry key
// below Software\Tessavane\VEL\Volatile, set when it exists.
//
// Setting and clearing need write access to that key and drop the change in
// silence without it. The last error is kept. The object holds nothing but the
// name; several objects of one name are the same flag, in any process.
class VolatileFlag {
 public:
  // `per_user` selects HKEY_CURRENT_USER, else HKEY_LOCAL_MACHINE.
  VolatileFlag(std::wstring name, bool per_user);

  void Set();
  void Clear();
  bool IsSet() const;

 private:
  std::wstring _name;
  bool _per_user;
};

}  // namespace vel

#endif  // VEL_FOUNDATION_VOLATILEFLAG_H_
