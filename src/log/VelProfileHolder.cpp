#include "log/VelProfileHolder.h"

#include <windows.h>

#include <cstdlib>

#include "log/VelLog.h"
#include "sync/CurrentThread.h"
#include "sync/NtApi.h"
#include "sync/ThreadProbe.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr unsigned kProbePasses = 4096;
constexpr std::int64_t kMillisecondsPerSecond = 1000;

// Set for good when the performance counter fails once.
constinit std::atomic<bool> counter_failed{false};

std::int64_t value(const std::atomic<std::int64_t>& field) {
  return field.load(std::memory_order_relaxed);
}

bool uses_counter() {
  return VelLog_IsDebug() && !counter_failed.load();
}

}  // namespace

// The living holders in the order of their construction, linked through the
// holders themselves, so that entering one takes no memory: a first wait for a
// lock may come at the process's end. A mutant guards the chain, for the system
// takes it away from a holder that has been removed.
class VelProfileHolder::List {
 public:
  List() {
    const NTSTATUS status =
        nt::ZwCreateMutant(&_mutant, MUTANT_ALL_ACCESS, nullptr, FALSE);
    if (!nt::succeeded(status)) vel_trap_in_lock();
  }
  ~List() {
    closed.store(true);
    if (!nt::succeeded(nt::ZwClose(_mutant))) vel_trap();
  }
  List(const List&) = delete;
  List& operator=(const List&) = delete;

  // The one list, made on first use; null once the exit handlers have closed
  // it.
  static List* get() {
    if (closed.load()) return nullptr;
    return &once_static([] { return List(); });
  }

  void add(VelProfileHolder* holder) {
    const Turn turn(_mutant);
    holder->_previous = _last;
    (_last != nullptr ? _last->_next : _first) = holder;
    _last = holder;
  }

  void remove(VelProfileHolder* holder) {
    const Turn turn(_mutant);
    VelProfileHolder* const next = holder->_next;
    VelProfileHolder* const previous = holder->_previous;
    (previous != nullptr ? previous->_next : _first) = next;
    (next != nullptr ? next->_previous : _last) = previous;
  }

  // Under the mutant, so no holder can go away during the walk.
  void log_all() {
    const Turn turn(_mutant);
    for (auto* holder = _first; holder != nullptr; holder = holder->_next) {
      holder->LogGlobalStats();
    }
  }

 private:
  struct [[nodiscard]] Turn {
    [[nodiscard]] explicit Turn(HANDLE mutant) : handle(mutant) {
      nt::ZwWaitForSingleObject(handle, FALSE, nullptr);
    }
    ~Turn() { nt::ZwReleaseMutant(handle, nullptr); }
    HANDLE handle;
  };

  static constinit std::atomic<bool> closed;

  HANDLE _mutant = nullptr;
  VelProfileHolder* _first = nullptr;
  VelProfileHolder* _last = nullptr;
};

constinit std::atomic<bool> VelProfileHolder::List::closed{false};

// The holder's own word lock, for one scope.
class [[nodiscard]] VelProfileHolder::Lock {
 public:
  [[nodiscard]] explicit Lock(std::atomic<std::uint32_t>& word) : _word(word) {
    take();
  }
  ~Lock() { _word.exchange(0); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  void take() {
    unsigned passes = 0;
    for (std::uint32_t seen = try_take(); seen != 0 && seen != _me;
         seen = try_take()) {
      Sleep(0);
      if (++passes <= kProbePasses) continue;
      if (take_from_dead(seen)) return;
      Sleep(10);
      passes = 0;
    }
  }

  std::uint32_t try_take() {
    std::uint32_t seen = 0;
    _word.compare_exchange_strong(seen, _me);
    return seen;
  }

  bool take_from_dead(std::uint32_t owner) {
    return !probe_thread(owner).alive() &&
           _word.compare_exchange_strong(owner, _me);
  }

  std::atomic<std::uint32_t>& _word;
  const std::uint32_t _me = current_thread_id();
};

VelProfileHolder::VelProfileHolder(const char* name) : _name(name) {
  if (List* list = List::get()) list->add(this);
}

VelProfileHolder::VelProfileHolder(std::uint32_t number) : _name(_number_name) {
  _itoa(static_cast<int>(number), _number_name, 16);
}

VelProfileHolder::~VelProfileHolder() {
  const bool numbered = _name == _number_name;
  if (!numbered) {
    if (List* list = List::get()) list->remove(this);
  }
  LogGlobalStats();
}

void VelProfileHolder::add_sample(std::int64_t span) {
  const Lock lock(_lock);
  const std::int64_t total = value(_total) + span;
  const std::int64_t count = value(_count) + 1;
  _total.store(total, std::memory_order_relaxed);
  _count.store(count, std::memory_order_relaxed);
  if (span > value(_max)) _max.store(span, std::memory_order_relaxed);
  if (_seen) {
    VelLog_Print(kLogTrace, L"VelProfileHolder('%S'): %I64i, %I64i", _name,
                 count, total);
    return;
  }
  _seen = true;
  std::int64_t frequency;
  read_frequency(&frequency);
  VelLog_Print(kLogNotice, L"VelProfileHolder('%S'): %I64i, %I64i freq=%I64i",
               _name, count, total, frequency);
}

void VelProfileHolder::LogGlobalStats() {
  std::int64_t frequency;
  read_frequency(&frequency);
  const auto milliseconds = [frequency](std::int64_t span) {
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(
        static_cast<double>(span) * 1000.0 / static_cast<double>(frequency)));
  };
  const std::int64_t count = value(_count);
  const std::int64_t total = value(_total);
  const std::int64_t max = value(_max);
  VelLog_Print(kLogNotice,
               L"VelProfileHolder::LogGlobalStats('%S'): %I64i, %I64i => %u ms "
               L"(max=%I64i => %u ms)",
               _name, count, total, milliseconds(total), max,
               milliseconds(max));
}

void VelProfileHolder::read_clock(std::int64_t* out) {
  LARGE_INTEGER value;
  if (uses_counter()) {
    if (QueryPerformanceCounter(&value) != 0) {
      *out = value.QuadPart;
      return;
    }
    counter_failed.store(true);
  }
  *out = GetTickCount();
}

void VelProfileHolder::read_frequency(std::int64_t* out) {
  LARGE_INTEGER value;
  if (uses_counter()) {
    if (QueryPerformanceFrequency(&value) != 0) {
      *out = value.QuadPart;
      return;
    }
    counter_failed.store(true);
  }
  *out = kMillisecondsPerSecond;
}

void VelLog_LogAllStats() {
  VelProfileHolder::log_all();
}

void VelProfileHolder::log_all() {
  if (List* list = List::get()) list->log_all();
}

}  // namespace vel
