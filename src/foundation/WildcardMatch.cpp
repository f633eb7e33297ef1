#include "foundation/WildcardMatch.h"

#include "foundation/Text.h"

namespace vel {
namespace {

template <typename Equal>
bool match(std::wstring_view name, std::wstring_view pattern, Equal equal) {
  const wchar_t* n = name.data();
  const wchar_t* const name_end = n + name.size();
  const wchar_t* p = pattern.data();
  const wchar_t* const pattern_end = p + pattern.size();
  // What stands behind the last star, and where the name's part for it begins.
  // A mismatch only ever moves the last star on: an earlier one taking more
  // could but shift what the last one can reach.
  const wchar_t* behind_star = nullptr;
  const wchar_t* retry = nullptr;
  while (n != name_end) {
    if (p != pattern_end && *p == L'*') {
      if (++p == pattern_end) return true;
      behind_star = p;
      retry = n;
    } else if (p != pattern_end && (*p == L'?' || equal(*n, *p))) {
      ++n;
      ++p;
    } else if (behind_star != nullptr) {
      p = behind_star;
      n = ++retry;
      // Straight on to where the part behind the star can begin.
      if (*p == L'?') continue;
      while (n != name_end && !equal(*n, *p)) ++n;
      retry = n;
    } else {
      return false;
    }
  }
  while (p != pattern_end && *p == L'*') ++p;
  return p == pattern_end;
}

}  // namespace

bool VelWildcardMatch(std::wstring_view name, std::wstring_view pattern) {
  return match(name, pattern, CharEqualsNoCase);
}

bool VelWildcardMatchCase(std::wstring_view name, std::wstring_view pattern) {
  return match(name, pattern, [](wchar_t a, wchar_t b) { return a == b; });
}

}  // namespace vel
