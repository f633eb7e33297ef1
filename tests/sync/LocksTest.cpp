// Locks in use, at faults of their users, and at the end of a process that
// holds them in threads which the system has removed.

#include <stdexcept>

#include "log/LogMutex.h"
#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/Threads.h"
#include "support/VelLogStreamPeer.h"
#include "sync/OnceGuard.h"
#include "sync/ProcAddress.h"
#include "sync/VelDllHolder.h"
#include "sync/VelMultiReadSpinLock.h"
#include "sync/VelRecursiveMutex.h"
#include "sync/VelRecursiveRWLock.h"
#include "sync/VelRecursiveThreadSpinLock.h"
#include "sync/VelSpinLock.h"

namespace vel {

class VelRWLockPeer {
 public:
  static char Holder(const VelRWLock& lock) {
    return lock._writers != 0 ? 'w' : lock._readers != 0 ? 'r' : '-';
  }
};

class VelRecursiveRWLockPeer {
 public:
  static const VelRWLock& Base(const VelRecursiveRWLock& lock) { return lock; }
  static DWORD Slot(const VelRecursiveRWLock& lock) { return lock._tls_index; }
};

namespace {

constinit VelFastMutex fast_mutex;
constinit VelRecursiveMutex recursive;
constinit VelRWLock rw_lock;
VelRecursiveRWLock nested_rw;
constinit VelSpinLock spin_lock;
VelRecursiveThreadSpinLock::Context thread_context;
VelRecursiveThreadSpinLock thread_lock(&thread_context);
VelMultiReadSpinLock::Context multi_read_context;
VelMultiReadSpinLock multi_read(&multi_read_context);

// Writers change both halves, readers compare them.
template <typename Read, typename Write = Read, typename Lock>
void ExpectWholeData(Lock& lock, int rounds = 1000) {
  long long first = 0;
  long long second = 0;
  std::atomic<int> torn{0};
  // A thread that ends right after its last turn may be taken for one that died
  // with the lock: see VelRecursiveThreadSpinLock.h.
  test::Meeting end(6);
  test::RunTogether(6, [&](int number) {
    for (int i = 0; i < rounds; ++i) {
      if (number < 3) {
        const Write scope(lock);
        first = first + 1;
        if (i % 250 == 0) Sleep(0);
        second = second + 1;
      } else {
        const Read scope(lock);
        if (first != second) ++torn;
      }
    }
    end.Join();
  });
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(first, 3 * rounds);
}

// In once, after one leave out of two.
template <typename Scope>
struct Nested {
  template <typename Lock>
  explicit Nested(Lock& lock) : outer(lock) {
    const Scope inner(lock);
  }
  const Scope outer;
};

TEST(Locks, ExcludeUnderContention) {
  for (const bool multi : {false, true}) {
    multi_cpu = multi;
    ExpectWholeData<VelFastMutex::Scope>(fast_mutex);
  }
  ExpectWholeData<Nested<VelRecursiveMutex::Scope>>(recursive);
  ExpectWholeData<VelRWLock::ReadScope, VelRWLock::WriteScope>(rw_lock);
  ExpectWholeData<Nested<VelRecursiveRWLock::ReadScope>,
                  Nested<VelRecursiveRWLock::WriteScope>>(nested_rw);
  ExpectWholeData<VelSpinLock::Scope>(spin_lock);
  ExpectWholeData<Nested<VelRecursiveThreadSpinLock::Scope>>(thread_lock, 50);
  // No readers: a writer that meets one isn't to look again.
  ExpectWholeData<VelMultiReadSpinLock::WriteScope>(multi_read);
}

// R and W lock, r and w unlock: the second text is how the lock is held then.
TEST(VelRecursiveRWLock, NestsInEveryOrder) {
  VelRecursiveRWLock& lock = nested_rw;
  for (const auto& [calls, holders] : {std::pair{"RWwr", "rwr-"},
                                       {"RRrr", "rrr-"},
                                       {"WWww", "www-"},
                                       {"WRrw", "www-"},
                                       {"WRwr", "wwr-"},
                                       {"RWrw", "rww-"}}) {
    for (int i = 0; calls[i] != '\0'; ++i) {
      SCOPED_TRACE(testing::Message() << calls << " at " << i);
      SetLastError(0x1234);
      if (calls[i] == 'R') lock.read_lock();
      if (calls[i] == 'r') lock.read_unlock();
      if (calls[i] == 'W') lock.write_lock();
      if (calls[i] == 'w') lock.write_unlock();
      EXPECT_EQ(GetLastError(), 0x1234u);
      EXPECT_EQ(VelRWLockPeer::Holder(VelRecursiveRWLockPeer::Base(lock)),
                holders[i]);
    }
    EXPECT_EQ(TlsGetValue(VelRecursiveRWLockPeer::Slot(lock)), nullptr);
  }
}

TEST(VelSpinLock, TakenFromAnOwnerThatWasKilledNotFromOneThatLives) {
  const test::LogCapture log;
  VelSpinLock lock;
  std::atomic<bool> taken{false};
  test::HoldingThread owner([&] { lock.lock(); });
  std::thread waiter([&] { lock.lock(), taken = true, lock.unlock(); });
  Sleep(600);  // past the probes
  EXPECT_FALSE(taken);
  owner.Kill();
  waiter.join();
  EXPECT_TRUE(log.Contains(3, L"::WaitLoop - locker=0x"));
}

TEST(VelRecursiveThreadSpinLock, MisuseThrowsAndADeadOwnerIsReplaced) {
  VelRecursiveThreadSpinLock::Context ctx;
  VelRecursiveThreadSpinLock lock(&ctx);
  test::HoldingThread owner([&] {
    lock.Enter();
    // As when the owner was another process's: no handle is left.
    const UINT_PTR handle = ctx.owner_handle.exchange(0);
    CloseHandle(reinterpret_cast<HANDLE>(handle));
  });
  EXPECT_FALSE(lock.TryEnter());
  EXPECT_TRUE(lock.IsHeld() && !lock.IsHeldByMe());
  EXPECT_THROW(lock.Leave(), std::runtime_error);
  EXPECT_EQ(ctx.recursion_cnt, 1);
  owner.Kill();
  EXPECT_TRUE(lock.TryEnter());
  EXPECT_TRUE(lock.IsHeld() && lock.IsHeldByMe());
  EXPECT_EQ(ctx.recursion_cnt, 1);
  EXPECT_EQ(ctx.owner_tid, GetCurrentThreadId());
  ctx.recursion_cnt = -1;
  EXPECT_THROW(static_cast<void>(lock.TryEnter()), std::runtime_error);
  EXPECT_THROW(lock.Leave(), std::runtime_error);
  EXPECT_EQ(ctx.recursion_cnt, -1);
}

// A clock that stands until each look at it takes `step` ms. One at a time.
struct FakeClock {
  FakeClock() { now = 1000, step = 0; }
  static DWORD WINAPI Ticks() { return now.fetch_add(step); }
  static inline std::atomic<DWORD> now, step;
};

// A writer that meets a reader keeps the internal lock, so nobody else gets in,
// and forces the lock open after 262144 ms.
TEST(VelMultiReadSpinLock, AWriterSitsOutItsReaders) {
  const test::LogCapture log;
  FakeClock clock;
  VelMultiReadSpinLock::Context ctx;
  VelMultiReadSpinLock lock(&ctx, FakeClock::Ticks);
  lock.ReadLock();
  std::thread writer([&] { lock.WriteLock(); });
  while (ctx.locker == 0) Sleep(1);
  lock.ReadUnlock();
  Sleep(50);
  EXPECT_FALSE(log.Contains(3, L"timeout"));
  clock.step = 0x10000;
  writer.join();
  EXPECT_TRUE(log.Contains(3, L"VelMultiReadSpinLock::InternalLock - timeout"));
}

TEST(OnceGuard, OneThreadWorksAnewAfterAThrowAndTheOthersSeeTheResult) {
  OnceGuard guard;
  std::atomic<int> runs{0};
  int value = 0;
  test::RunTogether(8, [&](int) {
    const auto work = [&] {
      SetLastError(1);
      if (++runs == 1) throw std::runtime_error("no");
      Sleep(20);
      value = 42;
    };
    SetLastError(0x1234);
    try {
      guard.run(work);
      EXPECT_EQ(value, 42);
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(GetLastError(), 0x1234u);
  });
  EXPECT_EQ(runs, 2);
}

void (*const kMisuses[])() = {
    [] { recursive.leave(), static_cast<void>(recursive.try_enter()); },
    [] { nested_rw.read_unlock(); },
    [] { nested_rw.write_unlock(); },
    [] {
      for (int i = 0; i <= 0xFFFF; ++i) nested_rw.read_lock();
    },
    [] { multi_read.ReadUnlock(); },
    [] { multi_read.WriteUnlock(); },
    [] { VelDllHolder(L"kernel32.dll").unload(); },
    [] { VelDllHolder(L"kernel32.dll").load(); },
    [] { CloseHandle(ScopedHandle(CreateMutexW(nullptr, 0, nullptr)).get()); },
};

VEL_CHILD_MAIN(CommitMisuse) {
  kMisuses[std::stoul(argument)]();
  return 0;
}

TEST(Misuse, Traps) {
  for (std::size_t i = 0; i < std::size(kMisuses); ++i) {
    EXPECT_EQ(test::ChildProcess(L"CommitMisuse", std::to_wstring(i)).Wait(),
              0x80000003)
        << i;
  }
}

constexpr UINT kGotThrough = 42;
constexpr const wchar_t* kLast = L"[I'm last thread]";
constexpr const wchar_t* kWords = L"last words";

const struct Ending {
  void (*hold)();
  void (*pass)();
  unsigned level;  // of a line that the log has then
  const wchar_t* line;
} kEndings[] = {
    {[] { fast_mutex.lock(); }, [] { fast_mutex.lock(); }, 2, kLast},
    {[] { recursive.enter(); }, [] { recursive.enter(); }, 2, kLast},
    {[] { rw_lock.read_lock(); }, [] { rw_lock.write_lock(); }, 2, kLast},
    {[] { nested_rw.write_lock(); }, [] { nested_rw.read_lock(); }, 2, kLast},
    {[] { spin_lock.lock(); }, [] { spin_lock.lock(); }, 3, L", but I'm last"},
    {[] { thread_lock.Enter(); }, [] { thread_lock.Enter(); }, 4, L"create"},
    {[] { multi_read.WriteLock(); }, [] { multi_read.ReadLock(); }, 2,
     L"VelMultiReadSpinLock::ValidateLocker - tid=0x"},
    {[] { test::LogCapture::Lock().lock(); }, [] {}, 3, kWords},
    {[] { VelLogStreamPeer().cipher_lock().lock(); },
     [] { VelLogStreamPeer().cipher_lock().lock(); }, 3, kWords},
    {[] { new LogMutex; }, [] { VelLogStreamPeer().rotation_limit() = 100; }, 3,
     kWords},
};
const Ending* ending = nullptr;
std::atomic<bool> held{false};

// "<digit of the ending> <log file>". Log and thread stay: the process ends
// around them. In a library's DllMain the other threads are gone.
VEL_CHILD_MAIN(EndWithALockHeld) {
  ending = &kEndings[argument[0] - L'0'];
  new test::LogCapture(2, argument.substr(2));
  std::thread([] { ending->hold(), held = true, Sleep(INFINITE); }).detach();
  while (!held) Sleep(1);
  const HMODULE library = LoadLibraryW(L"sync_library.dll");
  proc_address<void (*)(void (*)())>(library, "CallAtProcessEnd")([] {
    ending->pass();
    if (ending->line == kWords) VelLog_Print(3, kWords);
    VelLog_FlushBuffer();
    TerminateProcess(GetCurrentProcess(), kGotThrough);
  });
  ExitProcess(0);
}

TEST(ProcessEnd, TheLastThreadGetsThroughEveryLock) {
  const test::ScratchDirectory directory;
  for (const Ending& one : kEndings) {
    const std::wstring number = std::to_wstring(&one - kEndings);
    const std::wstring log = directory.File(number);
    test::ChildProcess child(L"EndWithALockHeld", number + L" " + log);
    ASSERT_EQ(child.Wait(), kGotThrough) << number;
    const auto lines = test::ReadLog(log);
    EXPECT_TRUE(test::LogCapture::Contains(lines, one.level, one.line))
        << number;
  }
}

}  // namespace
}  // namespace vel
