// What the last thread of an ending process meets: every other thread has been
// removed, and what they held stays held.

#include <gtest/gtest.h>

#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"
#include "support/Threads.h"
#include "sync/ProcAddress.h"
#include "sync/TestLibraries.h"
#include "sync/VelRWLock.h"
#include "sync/VelRecursiveMutex.h"
#include "sync/VelSpinLock.h"
#include "sync/VelSyncNt.h"

namespace vel {
namespace {

constexpr UINT kGotThrough = 42;
constexpr UINT kNotReached = 43;

// Ends the process; `function` runs in a library's DllMain, when the system has
// removed the other threads.
[[noreturn]] void EndProcessWith(void (*function)()) {
  const HMODULE library =
      LoadLibraryW(test::LibraryPath(L"end_library.dll").c_str());
  proc_address<void (*)(void (*)())>(library, "CallAtProcessEnd")(function);
  ExitProcess(kNotReached);
}

constinit VelFastMutex fast_mutex;
constinit VelRecursiveMutex recursive_mutex;
constinit VelRWLock rw_lock;
constinit VelSpinLock spin_lock;

struct Case {
  const wchar_t* name;
  void (*hold)();
  void (*pass)();
  unsigned level;  // of the line that the log has then
  const wchar_t* line;
};

const Case kCases[] = {
    {L"fast_mutex", [] { fast_mutex.lock(); }, [] { fast_mutex.lock(); }, 2,
     L"[I'm last thread]"},
    {L"recursive_mutex", [] { recursive_mutex.enter(); },
     [] { recursive_mutex.enter(); }, 2, L"[I'm last thread]"},
    {L"writer_after_reader", [] { rw_lock.read_lock(); },
     [] { rw_lock.write_lock(); }, 2, L"[I'm last thread]"},
    {L"reader_after_writer", [] { rw_lock.write_lock(); },
     [] { rw_lock.read_lock(); }, 2, L"[I'm last thread]"},
    {L"spin_lock", [] { spin_lock.lock(); }, [] { spin_lock.lock(); }, 3,
     L", but I'm last"},
    {L"log", [] { test::LogCapture::Lock().lock(); },
     [] { VelLog_Print(3, L"last words"); }, 3, L"last words"},
};

const Case* current_case = nullptr;

// "<case> <log file>"
VEL_CHILD_MAIN(EndWithALockHeld) {
  const std::size_t blank = argument.find(L' ');
  for (const Case& one : kCases) {
    if (argument.substr(0, blank) == one.name) current_case = &one;
  }
  // The log and the holder outlive this function: the process ends around them.
  new test::LogCapture(2, argument.substr(blank + 1));
  new test::HoldingThread(current_case->hold);
  EndProcessWith([] {
    current_case->pass();
    VelLog_FlushBuffer();
    TerminateProcess(GetCurrentProcess(), kGotThrough);
  });
}

TEST(ProcessEnd, TheLastThreadGetsThroughEveryLock) {
  const test::ScratchDirectory directory;
  for (const Case& one : kCases) {
    SCOPED_TRACE(testing::Message() << one.name);
    const std::wstring log = directory.File(one.name);
    test::ChildProcess child(L"EndWithALockHeld",
                             std::wstring(one.name) + L" " + log);
    ASSERT_EQ(child.Wait(), kGotThrough);
    EXPECT_TRUE(test::LogCapture::Contains(test::LogCapture::Read(log),
                                           one.level, one.line));
  }
}

bool terminating_before = true;

VEL_CHILD_MAIN(AskWhetherItEnds) {
  test::HoldingThread other([] {});
  terminating_before = ThreadIsTerminating();
  EndProcessWith([] {
    const bool knows = !terminating_before && ThreadIsTerminating();
    TerminateProcess(GetCurrentProcess(), knows ? kGotThrough : 1);
  });
}

TEST(ProcessEnd, TheLastThreadKnowsThatItIsTheLast) {
  test::ChildProcess child(L"AskWhetherItEnds");
  EXPECT_EQ(child.Wait(), kGotThrough);
}

}  // namespace
}  // namespace vel
