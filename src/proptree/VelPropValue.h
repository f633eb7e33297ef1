#ifndef VEL_PROPTREE_VELPROPVALUE_H_
#define VEL_PROPTREE_VELPROPVALUE_H_

#include <cstdint>
#include <memory>
#include <string>

namespace vel {

// The value of an attribute: a text or a 64-bit number. Copies are deep. No
// lock: even reading a number as text changes the value.
class VelPropValue {
 public:
  explicit VelPropValue(std::int64_t number) : _number(number) {}
  explicit VelPropValue(std::wstring text);
  VelPropValue(const VelPropValue& other);
  VelPropValue& operator=(const VelPropValue& other);
  VelPropValue(VelPropValue&&) noexcept = default;
  VelPropValue& operator=(VelPropValue&&) noexcept = default;
  ~VelPropValue() = default;

  // Null for a number.
  [[nodiscard]] const std::wstring* Text() const { return _text.get(); }
  // A number becomes its decimal text, for good.
  const std::wstring& AsText();
  // A text counts as far as it begins with a decimal number, 0 otherwise.
  [[nodiscard]] std::int64_t AsNumber() const;

  void SetText(std::wstring text);
  void SetNumber(std::int64_t number);

 private:
  std::unique_ptr<std::wstring> _text;
  std::int64_t _number = 0;
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELPROPVALUE_H_
