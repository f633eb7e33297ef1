// Ways in which a process ends around the locks: at a fault of its own, and
// with locks held by threads that the system has removed.

#include <gtest/gtest.h>

#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"
#include "sync/ProcAddress.h"
#include "sync/ScopedHandle.h"
#include "sync/TestLibraries.h"
#include "sync/VelDllHolder.h"
#include "sync/VelMultiReadSpinLock.h"
#include "sync/VelRecursiveMutex.h"
#include "sync/VelRecursiveRWLock.h"
#include "sync/VelRecursiveThreadSpinLock.h"
#include "sync/VelSpinLock.h"

namespace vel {
namespace {

constinit VelFastMutex fast_mutex;
constinit VelRecursiveMutex recursive_mutex;
constinit VelRWLock rw_lock;
VelRecursiveRWLock recursive_rw;
constinit VelSpinLock spin_lock;
VelRecursiveThreadSpinLock::Context thread_context;
VelRecursiveThreadSpinLock thread_lock(&thread_context);
VelMultiReadSpinLock::Context multi_read_context;
VelMultiReadSpinLock multi_read(&multi_read_context);

class EndlessTask : public VelTask {
 public:
  using VelTask::finished;
  std::atomic<bool> begun{false};

 protected:
  void run() override {
    begun = true;
    Sleep(INFINITE);
  }
};

void (*const kMisuses[])() = {
    [] {
      recursive_mutex.leave();
      static_cast<void>(recursive_mutex.try_enter());
    },
    [] { recursive_rw.read_unlock(); },
    [] { recursive_rw.write_unlock(); },
    [] {
      for (int i = 0; i <= 0xFFFF; ++i) recursive_rw.read_lock();
    },
    [] { multi_read.ReadUnlock(); },
    [] { multi_read.WriteUnlock(); },
    [] {
      EndlessTask task;
      task.start();
      while (!task.begun) Sleep(1);
    },
    [] { EndlessTask().finished(); },
    [] { VelDllHolder(L"kernel32.dll").unload(); },
    [] { VelDllHolder(L"kernel32.dll").load(); },
    [] {
      const ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
      CloseHandle(event.get());
    },
};

VEL_CHILD_MAIN(CommitMisuse) {
  kMisuses[std::stoul(argument)]();
  return 0;
}

TEST(Misuse, Traps) {
  for (std::size_t i = 0; i < std::size(kMisuses); ++i) {
    test::ChildProcess child(L"CommitMisuse", std::to_wstring(i));
    EXPECT_EQ(child.Wait(), 0x80000003) << "misuse " << i;
  }
}

constexpr UINT kGotThrough = 42;

struct Case {
  void (*hold)();
  void (*pass)();
  unsigned level;  // of a line that the log has then
  const wchar_t* line;
};

const Case kCases[] = {
    {[] { fast_mutex.lock(); }, [] { fast_mutex.lock(); }, 2,
     L"[I'm last thread]"},
    {[] { recursive_mutex.enter(); }, [] { recursive_mutex.enter(); }, 2,
     L"[I'm last thread]"},
    {[] { rw_lock.read_lock(); }, [] { rw_lock.write_lock(); }, 2,
     L"[I'm last thread]"},
    {[] { recursive_rw.write_lock(); }, [] { recursive_rw.read_lock(); }, 2,
     L"[I'm last thread]"},
    {[] { spin_lock.lock(); }, [] { spin_lock.lock(); }, 3, L", but I'm last"},
    {[] { thread_lock.Enter(); }, [] { thread_lock.Enter(); }, 4, L"create"},
    {[] { multi_read.WriteLock(); }, [] { multi_read.ReadLock(); }, 2,
     L"VelMultiReadSpinLock::ValidateLocker - tid=0x"},
    {[] { test::LogCapture::Lock().lock(); },
     [] { VelLog_Print(3, L"last words"); }, 3, L"last words"},
};

const Case* current_case = nullptr;
std::atomic<bool> held{false};

DWORD WINAPI Hold(void*) {
  current_case->hold();
  held = true;
  Sleep(INFINITE);
  return 0;
}

// Runs in a library's DllMain, when the system has removed the other threads.
void PassAtProcessEnd() {
  current_case->pass();
  VelLog_FlushBuffer();
  TerminateProcess(GetCurrentProcess(), kGotThrough);
}

// "<digit of the case> <log file>"
VEL_CHILD_MAIN(EndWithALockHeld) {
  current_case = &kCases[argument[0] - L'0'];
  // The log outlives this function: the process ends around it.
  new test::LogCapture(2, argument.substr(2));
  CloseHandle(CreateThread(nullptr, 0, Hold, nullptr, 0, nullptr));
  while (!held) Sleep(1);
  const HMODULE library =
      LoadLibraryW(test::LibraryPath(L"plain_library.dll").c_str());
  proc_address<void (*)(void (*)())>(library,
                                     "CallAtProcessEnd")(PassAtProcessEnd);
  ExitProcess(0);
}

TEST(ProcessEnd, TheLastThreadGetsThroughEveryLock) {
  const test::ScratchDirectory directory;
  for (const Case& one : kCases) {
    const std::wstring number = std::to_wstring(&one - kCases);
    const std::wstring log = directory.File(number);
    test::ChildProcess child(L"EndWithALockHeld", number + L" " + log);
    ASSERT_EQ(child.Wait(), kGotThrough) << number;
    const auto lines = test::LogCapture::Read(log);
    EXPECT_TRUE(test::LogCapture::Contains(lines, one.level, one.line))
        << number;
  }
}

}  // namespace
}  // namespace vel
