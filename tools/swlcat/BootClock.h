// Wall-clock times for records, which know only the time since the start of
// Windows.
#ifndef VEL_TOOLS_SWLCAT_BOOTCLOCK_H_
#define VEL_TOOLS_SWLCAT_BOOTCLOCK_H_

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace swlcat {

// Milliseconds since 1601; nothing for a date that doesn't exist.
std::optional<std::int64_t> local_milliseconds(const SYSTEMTIME& time);
SYSTEMTIME make_time(unsigned year, unsigned month, unsigned day, unsigned hour,
                     unsigned minute, unsigned second);
// "2026-01-31 18:30:00.125".
std::wstring time_text(std::int64_t milliseconds);

// The clock of one file. The record that a start of the program writes tells
// the date and the time at its tick; the last one seen counts.
class BootClock {
 public:
  // Ticks are 32 bits of milliseconds and begin anew after 49.7 days: gives the
  // tick with the rounds since the file's beginning. To be called in the order
  // of the file; small steps back are no round.
  std::uint64_t extend(std::uint32_t tick);

  // Learns from a record, if it is one that tells.
  void learn(std::uint64_t tick, std::wstring_view text);
  // Takes over what another clock has learnt of the same start of Windows.
  void take_over(const BootClock& other) { _base = other._base; }

  bool knows() const { return _base.has_value(); }
  // Nothing until it has learnt.
  std::optional<std::int64_t> time_of(std::uint64_t tick) const;

 private:
  std::uint64_t _last = 0;
  std::optional<std::int64_t> _base;  // the time at tick 0
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_BOOTCLOCK_H_
