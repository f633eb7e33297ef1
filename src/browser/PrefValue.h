// The values of preferences. They never change once made, and are shared.
#ifndef VEL_BROWSER_PREFVALUE_H_
#define VEL_BROWSER_PREFVALUE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vel {

class PrefValue {
 public:
  virtual ~PrefValue() = default;
  // As the value stands in a file behind the comma.
  virtual std::string to_text() const = 0;
  // A new value of the same kind and content.
  virtual std::shared_ptr<PrefValue> clone() const = 0;
  // Whether this is a string whose raw text is `raw`. A boolean or a number
  // equals no string, however it reads.
  virtual bool equals_string(std::string_view raw) const;
};

class IntPrefValue final : public PrefValue {
 public:
  explicit IntPrefValue(std::int64_t value) : _value(value) {}
  std::string to_text() const override;
  std::shared_ptr<PrefValue> clone() const override;

 private:
  const std::int64_t _value;
};

class BoolPrefValue final : public PrefValue {
 public:
  explicit BoolPrefValue(bool value) : _value(value) {}
  std::string to_text() const override;
  std::shared_ptr<PrefValue> clone() const override;

 private:
  const bool _value;
};

class StringPrefValue final : public PrefValue {
 public:
  explicit StringPrefValue(std::string_view raw) : _raw(raw) {}
  std::string to_text() const override;
  std::shared_ptr<PrefValue> clone() const override;

 private:
  const std::string _raw;
};

// `text` between quotes.
std::string quoted(std::string_view text);

}  // namespace vel

#endif  // VEL_BROWSER_PREFVALUE_H_
