#include "proptree/VelPropValue.h"

#include <cstdlib>
#include <utility>

namespace vel {

VelPropValue::VelPropValue(std::wstring text)
    : _text(std::make_unique<std::wstring>(std::move(text))) {}

VelPropValue::VelPropValue(const VelPropValue& other) : _number(other._number) {
  if (other._text) _text = std::make_unique<std::wstring>(*other._text);
}

VelPropValue& VelPropValue::operator=(const VelPropValue& other) {
  return *this = VelPropValue(other);
}

const std::wstring& VelPropValue::AsText() {
  if (!_text) _text = std::make_unique<std::wstring>(std::to_wstring(_number));
  return *_text;
}

std::int64_t VelPropValue::AsNumber() const {
  return _text ? _wtoi64(_text->c_str()) : _number;
}

void VelPropValue::SetText(std::wstring text) {
  _text = std::make_unique<std::wstring>(std::move(text));
}

void VelPropValue::SetNumber(std::int64_t number) {
  _text.reset();
  _number = number;
}

}  // namespace vel
