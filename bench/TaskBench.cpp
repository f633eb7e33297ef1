// Work on the system's pool: the serial queue and the round trip of a task.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "channels/SerialQueue.h"
#include "support/Ratios.h"
#include "sync/ScopedHandle.h"
#include "sync/VelTask.h"

namespace vel::bench {
namespace {

constexpr int kItems = 100000;

// Owned by the benchmark, so that only the queue is measured.
class Item : public IVelWorkItem {
 public:
  void run_and_free() override { ++runs; }
  int runs = 0;
};

// A queue as the standard library suggests it, with a thread of its own.
class StandardQueue {
 public:
  StandardQueue() : _consumer([this] { consume(); }) {}
  ~StandardQueue() {
    post(nullptr);
    _consumer.join();
  }

  void post(IVelWorkItem* item) {
    {
      const std::lock_guard<std::mutex> lock(_mutex);
      _items.push_back(item);
    }
    _arrived.notify_one();
  }

 private:
  void consume() {
    for (;;) {
      std::unique_lock<std::mutex> lock(_mutex);
      _arrived.wait(lock, [this] { return !_items.empty(); });
      IVelWorkItem* item = _items.front();
      _items.pop_front();
      lock.unlock();
      if (item == nullptr) return;
      item->run_and_free();
    }
  }

  std::mutex _mutex;
  std::condition_variable _arrived;
  std::deque<IVelWorkItem*> _items;
  std::thread _consumer;
};

void check_runs(benchmark::State& state, const Item& item) {
  const auto posts = static_cast<int>(state.iterations());
  if (item.runs != posts) state.SkipWithError("items were lost");
}

// From the first post to the end of the last item, for each item.
void serial_queue(benchmark::State& state) {
  Item item;
  {
    SerialQueue queue;
    while (state.KeepRunningBatch(kItems)) {
      for (int i = 0; i < kItems; ++i) queue.Post(&item);
      queue.Stop();
    }
  }
  check_runs(state, item);
}

void standard_queue(benchmark::State& state) {
  Item item;
  while (state.KeepRunningBatch(kItems)) {
    StandardQueue queue;
    for (int i = 0; i < kItems; ++i) queue.post(&item);
  }
  check_runs(state, item);
}

DWORD WINAPI signal_event(void* event) {
  SetEvent(event);
  return 0;
}

class EmptyTask : public VelTask {
 public:
  using VelTask::done_event;

 protected:
  void run() override {}
};

using Wait = DWORD (*)(HANDLE);

DWORD wait_plainly(HANDLE event) {
  return WaitForSingleObject(event, INFINITE);
}

// As VelTask::wait() does, for a thread that has windows.
DWORD wait_for_messages_too(HANDLE event) {
  return MsgWaitForMultipleObjects(1, &event, FALSE, INFINITE, QS_ALLINPUT);
}

template <Wait wait>
void task_round_trip(benchmark::State& state) {
  EmptyTask task;
  for (auto _ : state) {
    if (!task.start() || wait(task.done_event()) != WAIT_OBJECT_0) {
      state.SkipWithError("the task doesn't run");
      break;
    }
  }
}

template <Wait wait>
void bare_round_trip(benchmark::State& state) {
  const ScopedHandle event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
  for (auto _ : state) {
    ResetEvent(event.get());
    if (!QueueUserWorkItem(signal_event, event.get(), WT_EXECUTELONGFUNCTION) ||
        wait(event.get()) != WAIT_OBJECT_0) {
      state.SkipWithError("the item doesn't run");
      break;
    }
  }
}

void add(const char* name, void (*function)(benchmark::State&),
         int iterations) {
  benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->Iterations(iterations);
}

bool add_all() {
  add("SerialQueue item", serial_queue, kItems);
  add("std::deque queue item", standard_queue, kItems);
  add("VelTask round trip", task_round_trip<wait_plainly>, 200);
  add("VelTask round trip, messages", task_round_trip<wait_for_messages_too>,
      200);
  add("bare pool item", bare_round_trip<wait_plainly>, 200);
  add("bare pool item, messages", bare_round_trip<wait_for_messages_too>, 200);
  constexpr double kMillionPerSecond = 1000;  // ns
  add_limit("SerialQueue item", kMillionPerSecond);
  add_ratio("SerialQueue item", "std::deque queue item", 0);
  add_ratio("VelTask round trip", "bare pool item", 1.15);
  add_ratio("VelTask round trip, messages", "bare pool item, messages", 1.15);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
