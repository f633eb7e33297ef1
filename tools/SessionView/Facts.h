// What there is to tell of a session: rows of a label and what stands behind
// it, in groups.
#ifndef VEL_TOOLS_SESSIONVIEW_FACTS_H_
#define VEL_TOOLS_SESSIONVIEW_FACTS_H_

#include <string>
#include <vector>

namespace sessionview {

// For what the system keeps to itself, which isn't the same as "none".
inline constexpr wchar_t kNotTold[] = L"not told";

struct Fact {
  std::wstring label;
  std::vector<std::wstring> values;
};
using Facts = std::vector<Fact>;

// The values, or "none".
std::vector<std::wstring> or_none(std::vector<std::wstring> values);

// A line for each value, the label in front of the first, all values in one
// column; an empty line between two groups. Lines end in CR LF.
std::wstring format_facts(const std::vector<Facts>& groups);

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_FACTS_H_
