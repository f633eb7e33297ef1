// The user's texts, by the numbers of vel/StringIds.h.
#ifndef VEL_COMPANIONS_MENUS_TEXTS_H_
#define VEL_COMPANIONS_MENUS_TEXTS_H_

#include <windows.h>

#include <string>

namespace velmenus {

// Keeps the language resources loaded. Constant after construction, so any
// thread may read.
class Texts {
 public:
  // Takes VELRCS.dll as the program has loaded it, or else from VELDIR.
  Texts();
  ~Texts();
  Texts(const Texts&) = delete;
  Texts& operator=(const Texts&) = delete;

  // Empty when there is no such text.
  std::wstring get(UINT number) const;
  // The text with its places filled in; what doesn't fit 512 characters is
  // cut. The arguments have to be those that vel/StringIds.h names.
  std::wstring format(UINT number, ...) const;

 private:
  HMODULE _module = nullptr;
};

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_TEXTS_H_
