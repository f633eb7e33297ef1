#ifndef VEL_BROWSER_PREFSINK_H_
#define VEL_BROWSER_PREFSINK_H_

#include <cstdint>
#include <string_view>

namespace vel {

// Receives preferences. The texts are the caller's and last for the call only.
class PrefSink {
 public:
  virtual ~PrefSink() = default;
  virtual void set_bool(std::string_view name, bool value) = 0;
  virtual void set_int(std::string_view name, std::int64_t value) = 0;
  // `raw` is what stands between the quotes in a file, escapes and all.
  virtual void set_string(std::string_view name, std::string_view raw) = 0;
};

}  // namespace vel

#endif  // VEL_BROWSER_PREFSINK_H_
