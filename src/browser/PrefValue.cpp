#include "browser/PrefValue.h"

#include <cstdlib>

namespace vel {

bool PrefValue::equals_string(std::string_view raw) const {
  return to_text() == quoted(raw);
}

std::string IntPrefValue::to_text() const {
  constexpr int kDecimal = 10;
  char digits[24];
  return _i64toa(_value, digits, kDecimal);
}

std::shared_ptr<PrefValue> IntPrefValue::clone() const {
  return std::make_shared<IntPrefValue>(_value);
}

std::string BoolPrefValue::to_text() const {
  return _value ? "true" : "false";
}

std::shared_ptr<PrefValue> BoolPrefValue::clone() const {
  return std::make_shared<BoolPrefValue>(_value);
}

std::string StringPrefValue::to_text() const {
  return quoted(_raw);
}

std::shared_ptr<PrefValue> StringPrefValue::clone() const {
  return std::make_shared<StringPrefValue>(_raw);
}

std::string quoted(std::string_view text) {
  std::string result;
  result.reserve(text.size() + 2);
  result += '"';
  result += text;
  result += '"';
  return result;
}

}  // namespace vel
