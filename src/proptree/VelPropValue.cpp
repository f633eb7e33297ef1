#include "proptree/VelPropValue.h"

#include <cstdlib>
#include <utility>

namespace vel {
namespace {

std::unique_ptr<std::wstring> copy_of(const std::wstring* text) {
  return text != nullptr ? std::make_unique<std::wstring>(*text) : nullptr;
}

}  // namespace

VelPropValue::VelPropValue(std::wstring text)
    : _text(std::make_unique<std::wstring>(std::move(text))) {}

VelPropValue::VelPropValue(const VelPropValue& other)
    : _text(copy_of(other._text.get())), _number(other._number) {}

VelPropValue& VelPropValue::operator=(const VelPropValue& other) {
  if (this == &other) return *this;
  _text = copy_of(other._text.get());
  _number = other._number;
  return *this;
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
