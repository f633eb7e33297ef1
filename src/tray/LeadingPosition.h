#ifndef VEL_TRAY_LEADINGPOSITION_H_
#define VEL_TRAY_LEADINGPOSITION_H_

#include <cstddef>

namespace vel {

// Where `name` stands at the beginning of `text`, 0, or after its first
// character, 1; npos for neither. Other places aren't looked at: a text may be
// of any length.
template <typename View>
std::size_t leading_position(View text, View name) {
  if (text.starts_with(name)) return 0;
  if (text.empty() || !text.substr(1).starts_with(name)) return View::npos;
  return 1;
}

}  // namespace vel

#endif  // VEL_TRAY_LEADINGPOSITION_H_
