#ifndef VEL_FOUNDATION_REPLACECHARS_H_
#define VEL_FOUNDATION_REPLACECHARS_H_

#include <cstddef>
#include <utility>

namespace vel {

// Puts a text in the place of each character that `replacement` has one for: it
// takes a character and returns a view, an empty one for a character that
// stays. The new text isn't looked at again. Takes time and memory in
// proportion to the result; a text with nothing to replace is left as it is.
template <typename String, typename Replacement>
void ReplaceChars(String& text, const Replacement& replacement) {
  std::size_t size = 0;
  bool changes = false;
  for (const auto character : text) {
    const auto view = replacement(character);
    changes |= !view.empty();
    size += view.empty() ? 1 : view.size();
  }
  if (!changes) return;
  String replaced;
  replaced.reserve(size);
  for (const auto character : text) {
    const auto view = replacement(character);
    if (view.empty()) {
      replaced += character;
    } else {
      replaced.append(view.data(), view.size());
    }
  }
  text = std::move(replaced);
}

}  // namespace vel

#endif  // VEL_FOUNDATION_REPLACECHARS_H_
