// The locks beside those of the system and of the standard library.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <mutex>
#include <shared_mutex>

#include "support/Ratios.h"
#include "sync/VelFastMutex.h"
#include "sync/VelRWLock.h"
#include "sync/VelRecursiveMutex.h"
#include "sync/VelSpinLock.h"

namespace vel::bench {
namespace {

class CriticalSection {
 public:
  CriticalSection() { InitializeCriticalSection(&_section); }
  ~CriticalSection() { DeleteCriticalSection(&_section); }
  void lock() { EnterCriticalSection(&_section); }
  void unlock() { LeaveCriticalSection(&_section); }

 private:
  CRITICAL_SECTION _section;
};

class SrwLock {
 public:
  void lock() { AcquireSRWLockExclusive(&_lock); }
  void unlock() { ReleaseSRWLockExclusive(&_lock); }
  void lock_shared() { AcquireSRWLockShared(&_lock); }
  void unlock_shared() { ReleaseSRWLockShared(&_lock); }

 private:
  SRWLOCK _lock = SRWLOCK_INIT;
};

class RecursiveMutex : public VelRecursiveMutex {
 public:
  void lock() { enter(); }
  void unlock() { leave(); }
};

class RwLock : public VelRWLock {
 public:
  void lock() { write_lock(); }
  void unlock() { write_unlock(); }
  void lock_shared() { read_lock(); }
  void unlock_shared() { read_unlock(); }
};

// One lock of each kind, on a cache line of its own.
template <typename Lock>
struct alignas(64) Aligned {
  Lock lock;
};

template <typename Lock>
Aligned<Lock> aligned;

template <typename Lock>
void exclusive(benchmark::State& state) {
  Lock& lock = aligned<Lock>.lock;
  for (auto _ : state) {
    lock.lock();
    benchmark::ClobberMemory();
    lock.unlock();
  }
}

template <typename Lock>
void shared(benchmark::State& state) {
  Lock& lock = aligned<Lock>.lock;
  for (auto _ : state) {
    lock.lock_shared();
    benchmark::ClobberMemory();
    lock.unlock_shared();
  }
}

// The second entry of a thread that holds the lock.
template <typename Lock>
void nested(benchmark::State& state) {
  Lock& lock = aligned<Lock>.lock;
  lock.lock();
  for (auto _ : state) {
    lock.lock();
    benchmark::ClobberMemory();
    lock.unlock();
  }
  lock.unlock();
}

using Function = void(benchmark::State&);

// Rounds short enough to fit between two interruptions.
constexpr int kAlone = 100000;
constexpr int kContended = 20000;

void add_single(const char* name, Function* function) {
  benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->Iterations(kAlone);
}

void add(const char* name, Function* function) {
  add_single(name, function);
  for (const int threads : {2, 4}) {
    benchmark::RegisterBenchmark(name, function)
        ->UseRealTime()
        ->Iterations(kContended)
        ->Threads(threads);
  }
}

// A row without contention, which has a goal, and two with it.
void add_ratios(const std::string& ours, const std::string& peer) {
  constexpr double kFaster = 1.0;
  add_ratio(ours, peer, kFaster);
  add_ratio(ours + " x2", peer + " x2", 0);
  add_ratio(ours + " x4", peer + " x4", 0);
}

bool add_all() {
  add("VelSpinLock", exclusive<VelSpinLock>);
  add("VelFastMutex", exclusive<VelFastMutex>);
  add("VelRecursiveMutex", exclusive<RecursiveMutex>);
  add("VelRWLock write", exclusive<RwLock>);
  add("VelRWLock read", shared<RwLock>);
  add("CRITICAL_SECTION", exclusive<CriticalSection>);
  add("SRWLOCK", exclusive<SrwLock>);
  add("SRWLOCK shared", shared<SrwLock>);
  add("std::mutex", exclusive<std::mutex>);
  add("std::recursive_mutex", exclusive<std::recursive_mutex>);
  add("std::shared_mutex", exclusive<std::shared_mutex>);
  add("std::shared_mutex shared", shared<std::shared_mutex>);
  add_single("VelRecursiveMutex nested", nested<RecursiveMutex>);
  add_single("CRITICAL_SECTION nested", nested<CriticalSection>);
  add_single("std::recursive_mutex nested", nested<std::recursive_mutex>);

  for (const char* ours : {"VelSpinLock", "VelFastMutex"}) {
    for (const char* peer : {"CRITICAL_SECTION", "SRWLOCK", "std::mutex"}) {
      add_ratios(ours, peer);
    }
  }
  add_ratios("VelRecursiveMutex", "CRITICAL_SECTION");
  add_ratios("VelRecursiveMutex", "std::recursive_mutex");
  add_ratios("VelRecursiveMutex nested", "CRITICAL_SECTION nested");
  add_ratios("VelRecursiveMutex nested", "std::recursive_mutex nested");
  add_ratios("VelRWLock write", "SRWLOCK");
  add_ratios("VelRWLock write", "std::shared_mutex");
  add_ratios("VelRWLock read", "SRWLOCK shared");
  add_ratios("VelRWLock read", "std::shared_mutex shared");
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
