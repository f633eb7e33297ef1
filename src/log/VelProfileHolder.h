#ifndef VEL_LOG_VELPROFILEHOLDER_H_
#define VEL_LOG_VELPROFILEHOLDER_H_

#include <atomic>
#include <cstdint>

#include "sync/OnceGuard.h"

namespace vel {

// What the log can ask of a holder without knowing its kind.
class IVelProfileHolder {
 public:
  // Logs the totals at level 4.
  virtual void LogGlobalStats() = 0;

 protected:
  ~IVelProfileHolder() = default;
};

// A named accumulator of elapsed time: one static object for each thing that is
// measured, fed by scopes on the stack. Its first sample is logged at level 4,
// later ones at level 1, the totals by VelLog_LogAllStats() and at its end.
// Any thread may add samples. Not for use inside the log.
//
// Its lock is a bare word with the owner's id and a loop of its own: the wait
// of VelSpinLock is measured by a holder, so a holder can't use VelSpinLock. An
// owner that is dead is found after 4096 passes; a second entry by the owner
// goes through.
class VelProfileHolder final : public IVelProfileHolder {
 public:
  // `name` has static life and is kept by pointer. The object is known to
  // VelLog_LogAllStats() from here to its destructor.
  explicit VelProfileHolder(const char* name);
  // Named by a number, in hexadecimal; VelLog_LogAllStats() leaves it out.
  explicit VelProfileHolder(std::uint32_t number);
  // Logs the totals.
  ~VelProfileHolder();
  VelProfileHolder(const VelProfileHolder&) = delete;
  VelProfileHolder& operator=(const VelProfileHolder&) = delete;

  // `span` is the difference of two read_clock() values; zero counts too.
  void add_sample(std::int64_t span);
  // Takes no lock of the holder's: it may be the last words of a process, and
  // the lock's owner a thread that has been removed. A sample that comes
  // meanwhile may show in a part of the numbers.
  void LogGlobalStats() override;

  // The clock of all holders: milliseconds, or the performance counter when
  // the log keeps level 1. Its kind changes if the log goes away in between,
  // and a span across that moment means nothing.
  static void read_clock(std::int64_t* out);
  // Its units per second.
  static void read_frequency(std::int64_t* out);

  // LogGlobalStats() of each living holder that has a name.
  static void log_all();

 private:
  class List;
  class Lock;

  // Changed under _lock, and read without it.
  std::atomic<std::int64_t> _total{0};
  std::atomic<std::int64_t> _count{0};
  std::atomic<std::int64_t> _max{0};
  std::atomic<std::uint32_t> _lock{0};
  const char* _name;
  bool _seen = false;
  char _number_name[12] = {};
  // Neighbours in the list of all holders.
  VelProfileHolder* _previous = nullptr;
  VelProfileHolder* _next = nullptr;
};

// Measures from its construction to its end, also when an exception passes.
class [[nodiscard]] VelProfileScope {
 public:
  [[nodiscard]] explicit VelProfileScope(VelProfileHolder& holder)
      : _holder(holder) {
    VelProfileHolder::read_clock(&_start);
  }
  ~VelProfileScope() {
    std::int64_t end;
    VelProfileHolder::read_clock(&end);
    _holder.add_sample(end - _start);
  }
  VelProfileScope(const VelProfileScope&) = delete;
  VelProfileScope& operator=(const VelProfileScope&) = delete;

 private:
  VelProfileHolder& _holder;
  std::int64_t _start;
};

// Logs the totals of each living holder, once, in the order of construction.
void VelLog_LogAllStats();

}  // namespace vel

#define VEL_PROFILE_CONCAT_(a, b) a##b
#define VEL_PROFILE_CONCAT(a, b) VEL_PROFILE_CONCAT_(a, b)
// Measures the rest of the enclosing block under a name, which is a literal.
#define VEL_PROFILE_SCOPE(name)                                            \
  ::vel::VelProfileScope VEL_PROFILE_CONCAT(vel_profile_scope_, __LINE__)( \
      ::vel::once_static([] { return ::vel::VelProfileHolder(name); }))

#endif  // VEL_LOG_VELPROFILEHOLDER_H_
