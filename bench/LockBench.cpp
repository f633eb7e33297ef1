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

// Some tens of nanoseconds, as a short critical section takes.
void work() {
  for (int i = 0; i < 64; ++i) benchmark::DoNotOptimize(i);
}

// Several threads, each as long in the lock as outside.
template <typename Lock>
void exclusive_contended(benchmark::State& state) {
  Lock& lock = aligned<Lock>.lock;
  for (auto _ : state) {
    lock.lock();
    work();
    lock.unlock();
    work();
  }
}

template <typename Lock>
void shared_contended(benchmark::State& state) {
  Lock& lock = aligned<Lock>.lock;
  for (auto _ : state) {
    lock.lock_shared();
    work();
    lock.unlock_shared();
    work();
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
void add_alone(const char* name, Function* function) {
  constexpr int kIterations = 100000;
  benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->Iterations(kIterations);
}

// Rounds long enough for the threads to meet.
void add_contended(const char* name, Function* function) {
  constexpr double kSeconds = 0.1;
  benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->MinTime(kSeconds)
      ->Threads(2)
      ->Threads(4);
}

template <typename Lock>
void add_exclusive(const char* name) {
  add_alone(name, exclusive<Lock>);
  add_contended(name, exclusive_contended<Lock>);
}

template <typename Lock>
void add_shared(const char* name) {
  add_alone(name, shared<Lock>);
  add_contended(name, shared_contended<Lock>);
}

// A row without contention, which has a goal, and two with it.
void add_ratios(const std::string& ours, const std::string& peer) {
  constexpr double kFaster = 1.0;
  add_ratio(ours, peer, kFaster);
  add_ratio(ours + " x2", peer + " x2", 0);
  add_ratio(ours + " x4", peer + " x4", 0);
}

bool add_all() {
  add_exclusive<VelSpinLock>("VelSpinLock");
  add_exclusive<VelFastMutex>("VelFastMutex");
  add_exclusive<RecursiveMutex>("VelRecursiveMutex");
  add_exclusive<RwLock>("VelRWLock write");
  add_shared<RwLock>("VelRWLock read");
  add_exclusive<CriticalSection>("CRITICAL_SECTION");
  add_exclusive<SrwLock>("SRWLOCK");
  add_shared<SrwLock>("SRWLOCK shared");
  add_exclusive<std::mutex>("std::mutex");
  add_exclusive<std::recursive_mutex>("std::recursive_mutex");
  add_exclusive<std::shared_mutex>("std::shared_mutex");
  add_shared<std::shared_mutex>("std::shared_mutex shared");
  add_alone("VelRecursiveMutex nested", nested<RecursiveMutex>);
  add_alone("CRITICAL_SECTION nested", nested<CriticalSection>);
  add_alone("std::recursive_mutex nested", nested<std::recursive_mutex>);

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
