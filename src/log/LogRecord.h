#ifndef VEL_LOG_LOGRECORD_H_
#define VEL_LOG_LOGRECORD_H_

#include <windows.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "log/LogFormat.h"

namespace vel {

// A record is the prefix "[tick:process:thread:level] " in bare hexadecimal,
// the message, CR LF, and zero code units up to a whole number of units.

// The record under construction: on the stack for most messages, in a block of
// the log's heap for long ones. No memory of the runtime, no lock, no
// last-error value changed.
class [[nodiscard]] LogRecord {
 public:
  // `heap` serves long messages.
  [[nodiscard]] explicit LogRecord(HANDLE heap) noexcept : _heap(heap) {}
  // Frees a heap block that nobody has taken over.
  ~LogRecord();
  LogRecord(const LogRecord&) = delete;
  LogRecord& operator=(const LogRecord&) = delete;

  // False when the message doesn't fit into 0x100000 code units.
  [[nodiscard]] bool format(unsigned level, const wchar_t* format,
                            va_list args) noexcept;

  // Behind it is room for one more unit.
  [[nodiscard]] void* data() noexcept {
    return _block != nullptr ? _block : _stack;
  }
  // In bytes, a multiple of kLogUnitBytes.
  [[nodiscard]] std::uint32_t length() const noexcept { return _length; }
  // True when data() is a heap block; its next owner calls disown().
  [[nodiscard]] bool is_block() const noexcept { return _block != nullptr; }
  void disown() noexcept { _block = nullptr; }

 private:
  static constexpr std::size_t kStackChars = 1792;

  [[nodiscard]] bool format_long(std::size_t prefix, const wchar_t* format,
                                 va_list args) noexcept;
  // Ends the record whose text is `chars` long with CR LF and pads it.
  void finish(wchar_t* text, std::size_t chars, std::size_t capacity) noexcept;

  HANDLE _heap;
  wchar_t* _block = nullptr;
  std::uint32_t _length = 0;
  wchar_t _stack[kStackChars];
};

}  // namespace vel

#endif  // VEL_LOG_LOGRECORD_H_
