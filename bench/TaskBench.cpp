// Work on the system's pool beside bare calls of the pool.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <atomic>
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

class EmptyTask : public VelTask {
 protected:
  void run() override {}
};

void task_round_trip(benchmark::State& state) {
  EmptyTask task;
  for (auto _ : state) {
    task.start();
    task.wait();
  }
}
BENCHMARK(task_round_trip)->Name("VelTask")->UseRealTime()->Iterations(2000);

DWORD WINAPI signal(void* event) {
  SetEvent(event);
  return 0;
}

// The wait is the same: for a thread that may have windows.
void bare_round_trip(benchmark::State& state) {
  ScopedHandle event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
  HANDLE handle = event.get();
  for (auto _ : state) {
    ResetEvent(handle);
    QueueUserWorkItem(signal, handle, WT_EXECUTELONGFUNCTION);
    MsgWaitForMultipleObjects(1, &handle, FALSE, INFINITE, QS_ALLINPUT);
  }
}
BENCHMARK(bare_round_trip)
    ->Name("QueueUserWorkItem and event")
    ->UseRealTime()
    ->Iterations(2000);

constexpr int kItems = 200000;

class CountingItem : public IVelWorkItem {
 public:
  void run_and_free() override { ++_runs; }

 private:
  std::atomic<int> _runs{0};
};

void serial_queue(benchmark::State& state) {
  CountingItem item;
  SerialQueue queue;
  for (auto _ : state) {
    for (int i = 0; i < kItems; ++i) queue.Post(&item);
    queue.Stop();
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(serial_queue)->Name("SerialQueue")->UseRealTime()->Iterations(5);

// The queue that one would write with the standard library.
void standard_queue(benchmark::State& state) {
  CountingItem item;
  std::mutex mutex;
  std::condition_variable posted;
  std::deque<IVelWorkItem*> items;
  const auto post = [&](IVelWorkItem* posted_item) {
    {
      const std::lock_guard lock(mutex);
      items.push_back(posted_item);
    }
    posted.notify_one();
  };
  for (auto _ : state) {
    std::thread consumer([&] {
      for (;;) {
        std::unique_lock lock(mutex);
        posted.wait(lock, [&] { return !items.empty(); });
        IVelWorkItem* const next = items.front();
        items.pop_front();
        lock.unlock();
        if (next == nullptr) return;
        next->run_and_free();
      }
    });
    for (int i = 0; i < kItems; ++i) post(&item);
    post(nullptr);
    consumer.join();
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(standard_queue)
    ->Name("std::deque and condition variable")
    ->UseRealTime()
    ->Iterations(5);

const AddRatio task_ratio("VelTask", "QueueUserWorkItem and event", 1.15);
const AddRatio queue_ratio("SerialQueue", "std::deque and condition variable");

}  // namespace
}  // namespace vel::bench
