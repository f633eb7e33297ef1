// Wildcard patterns: * stands for any run of characters, also an empty one,
// ? for exactly one. An empty name matches an empty pattern and one of stars
// alone. No allocation, no state; the time is at most name times pattern, and
// linear for patterns of single characters between stars.
#ifndef VEL_FOUNDATION_WILDCARDMATCH_H_
#define VEL_FOUNDATION_WILDCARDMATCH_H_

#include <string_view>

namespace vel {

// Characters are compared as CharEqualsNoCase does.
bool VelWildcardMatch(std::wstring_view name, std::wstring_view pattern);

// The same with exact comparison of code units.
bool VelWildcardMatchCase(std::wstring_view name, std::wstring_view pattern);

}  // namespace vel

#endif  // VEL_FOUNDATION_WILDCARDMATCH_H_
