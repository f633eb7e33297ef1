#include "sync/VelTask.h"

#include <gtest/gtest.h>

#include <atomic>

#include "support/ChildProcess.h"
#include "sync/ProcAddress.h"
#include "sync/ScopedHandle.h"
#include "TestLibraries.h"

namespace vel {
namespace {

constexpr DWORD kBreakpoint = 0x80000003;

class GatedTask : public VelTask {
 public:
  ~GatedTask() override {
    open();
    wait();
  }
  void open() { SetEvent(_gate.get()); }

  std::atomic<int> inside{0};
  std::atomic<int> runs{0};
  std::atomic<int> overlaps{0};
  DWORD thread = 0;

 protected:
  void run() override {
    if (++inside != 1) ++overlaps;
    thread = GetCurrentThreadId();
    WaitForSingleObject(_gate.get(), INFINITE);
    ++runs;
    --inside;
  }

 private:
  ScopedHandle _gate{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

TEST(VelTask, RunsOnThePoolAndTellsWhenItIsIdle) {
  GatedTask task;
  EXPECT_FALSE(task.is_running());
  EXPECT_TRUE(task.wait());
  for (int round = 1; round <= 3; ++round) {
    ASSERT_TRUE(task.start());
    EXPECT_TRUE(task.is_running());
    task.open();
    EXPECT_TRUE(task.wait());
    EXPECT_EQ(round, task.runs);
    EXPECT_NE(GetCurrentThreadId(), task.thread);
  }
}

TEST(VelTask, StartWaitsForTheEarlierRun) {
  GatedTask task;
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(task.start());
    task.open();
  }
  EXPECT_TRUE(task.wait());
  EXPECT_EQ(50, task.runs);
  EXPECT_EQ(0, task.overlaps);
}

class CarelessTask : public VelTask {
 public:
  // Signals an event that is signalled already.
  void finish_twice() { finished(); }
  void start_and_run() {
    start();
    while (!_begun) Sleep(1);
  }

 protected:
  void run() override {
    _begun = true;
    Sleep(INFINITE);
  }

 private:
  std::atomic<bool> _begun{false};
};

VEL_CHILD_MAIN(DestroysARunningTask) {
  CarelessTask task;
  task.start_and_run();
  return 0;
}

VEL_CHILD_MAIN(FinishesATaskTwice) {
  CarelessTask task;
  task.finish_twice();
  return 0;
}

TEST(VelTask, TrapsOnMisuse) {
  for (const wchar_t* child :
       {L"DestroysARunningTask", L"FinishesATaskTwice"}) {
    test::ChildProcess process(child);
    EXPECT_EQ(kBreakpoint, process.Wait()) << child;
  }
}

TEST(VelTask, UnloadOfALibraryWaitsForItsTasks) {
  const std::wstring path = test::LibraryPath(L"task_library.dll");
  const HMODULE library = LoadLibraryW(path.c_str());
  ASSERT_NE(nullptr, library);
  ScopedHandle begun(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  ScopedHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  auto* const start =
      proc_address<void (*)(HANDLE, HANDLE)>(library, "StartSlowTask");
  start(begun.get(), ended.get());
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(begun.get(), 30000));
  FreeLibrary(library);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(ended.get(), 0));
  EXPECT_EQ(nullptr, GetModuleHandleW(path.c_str()));
}

// The program doesn't wait for its tasks: they end with it.
VEL_CHILD_MAIN(EndsBeforeItsTask) {
  (new CarelessTask)->start_and_run();
  return 7;
}

TEST(VelTask, TheProgramEndsBeforeItsTasks) {
  test::ChildProcess process(L"EndsBeforeItsTask");
  EXPECT_EQ(7u, process.Wait());
}

}  // namespace
}  // namespace vel
