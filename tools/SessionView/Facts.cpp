#include "SessionView/Facts.h"

#include <algorithm>
#include <utility>

namespace sessionview {
namespace {

constexpr std::size_t kGap = 2;  // blanks between a label and its values

std::size_t values_column(const std::vector<Facts>& groups) {
  std::size_t longest = 0;
  for (const Facts& group : groups) {
    for (const Fact& fact : group) {
      longest = std::max(longest, fact.label.size());
    }
  }
  return longest + kGap;
}

void append_fact(std::wstring& text, const Fact& fact, std::size_t column) {
  std::wstring head = fact.label;
  for (const std::wstring& value : fact.values) {
    head.resize(column, L' ');
    text.append(head).append(value).append(L"\r\n");
    head.clear();
  }
}

}  // namespace

std::vector<std::wstring> or_none(std::vector<std::wstring> values) {
  if (values.empty()) values.emplace_back(L"none");
  return values;
}

std::wstring format_facts(const std::vector<Facts>& groups) {
  const std::size_t column = values_column(groups);
  std::wstring text;
  for (const Facts& group : groups) {
    if (!text.empty()) text += L"\r\n";
    for (const Fact& fact : group) append_fact(text, fact, column);
  }
  return text;
}

}  // namespace sessionview
