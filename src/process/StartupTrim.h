// Gives the memory of the start back, once.
#ifndef VEL_PROCESS_STARTUPTRIM_H_
#define VEL_PROCESS_STARTUPTRIM_H_

#include <windows.h>

namespace vel {

// A timer of the thread that made it. When its message comes by, the heap is
// compacted and the working set emptied, and the timer is off for good.
class [[nodiscard]] StartupTrim {
 public:
  [[nodiscard]] explicit StartupTrim(UINT delay_ms);
  ~StartupTrim();
  StartupTrim(const StartupTrim&) = delete;
  StartupTrim& operator=(const StartupTrim&) = delete;

  // To be shown every message of the thread. True when this one was the timer's
  // and the memory was given back.
  bool OnMessage(const MSG& message);

  bool armed() const { return _timer != 0; }

 private:
  void Disarm();

  // 0 once it has gone off.
  UINT_PTR _timer;
};

}  // namespace vel

#endif  // VEL_PROCESS_STARTUPTRIM_H_
