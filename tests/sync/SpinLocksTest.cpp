#include <gtest/gtest.h>

#include <stdexcept>

#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/Threads.h"
#include "sync/VelMultiReadSpinLock.h"
#include "sync/VelRecursiveThreadSpinLock.h"
#include "sync/VelSpinLock.h"

namespace vel {

class VelSpinLockPeer {
 public:
  static std::atomic<std::uint32_t>& Word(VelSpinLock& lock) {
    return lock._word;
  }
};

namespace {

TEST(VelSpinLock, ExcludesUnderContention) {
  constexpr int kThreads = 6;
  constexpr int kRounds = 2000;
  VelSpinLock lock;
  long long counter = 0;
  test::RunTogether(kThreads, [&](int) {
    for (int i = 0; i < kRounds; ++i) {
      const VelSpinLock::Scope scope(lock);
      EXPECT_EQ(VelSpinLockPeer::Word(lock), current_thread_id());
      counter = counter + 1;
    }
  });
  EXPECT_EQ(counter, kThreads * kRounds);
  EXPECT_EQ(VelSpinLockPeer::Word(lock), 0u);
}

TEST(VelSpinLock, TakenFromAnOwnerThatWasKilled) {
  const test::LogCapture log;
  VelSpinLock lock;
  test::HoldingThread owner([&] { lock.lock(); });
  owner.Kill();
  lock.lock();
  EXPECT_EQ(VelSpinLockPeer::Word(lock), current_thread_id());
  lock.unlock();
  EXPECT_TRUE(log.Contains(3, L"::WaitLoop - locker=0x"));
  EXPECT_TRUE(log.Contains(3, L" rv=0x"));
  // The first sample of the process is a notice, a later one a trace.
  const wchar_t* timed = L"VelProfileHolder('VelSpinLock::WaitLoop'): ";
  EXPECT_TRUE(log.Contains(4, timed) || log.Contains(1, timed));
}

// The owner lives: past the probe of 0x10000 passes the wait must go on.
TEST(VelSpinLock, WaitsOnForAnOwnerThatLives) {
  VelSpinLock lock;
  std::atomic<bool> taken{false};
  lock.lock();
  std::thread waiter([&] {
    const VelSpinLock::Scope scope(lock);
    taken = true;
  });
  Sleep(600);
  EXPECT_FALSE(taken);
  EXPECT_EQ(VelSpinLockPeer::Word(lock), current_thread_id());
  lock.unlock();
  waiter.join();
  EXPECT_TRUE(taken);
}

class VelRecursiveThreadSpinLockTest : public testing::Test {
 protected:
  void ExpectWords(int count, unsigned owner) {
    EXPECT_EQ(_ctx.recursion_cnt, count);
    EXPECT_EQ(_ctx.owner_tid, owner);
    if (owner == 0) {
      EXPECT_EQ(_ctx.owner_handle, 0u);
    }
  }

  VelRecursiveThreadSpinLock::Context _ctx;
  VelRecursiveThreadSpinLock _lock{&_ctx};
};

TEST_F(VelRecursiveThreadSpinLockTest, NestedEntriesLeaveNothingBehind) {
  _lock.Enter();
  _lock.Enter();
  ExpectWords(2, GetCurrentThreadId());
  EXPECT_NE(_ctx.owner_handle, 0u);
  EXPECT_TRUE(_lock.IsHeldByMe());
  std::thread([&] {
    EXPECT_TRUE(_lock.IsHeld());
    EXPECT_FALSE(_lock.IsHeldByMe());
    EXPECT_FALSE(_lock.TryEnter());
  }).join();
  _lock.Leave();
  EXPECT_TRUE(_lock.IsHeldByMe());
  _lock.Leave();
  ExpectWords(0, 0);
  EXPECT_FALSE(_lock.IsHeld());
}

TEST_F(VelRecursiveThreadSpinLockTest, MisuseThrowsAndChangesNothing) {
  const DWORD me = GetCurrentThreadId();
  _lock.Enter();
  std::thread([&] {
    try {
      _lock.Leave();
      ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(),
                "VelRecursiveThreadSpinLock::Leave: called from thread tid=" +
                    std::to_string(GetCurrentThreadId()) +
                    ", whilst the owner thread tid=" + std::to_string(me));
    }
  }).join();
  ExpectWords(1, me);
  _ctx.recursion_cnt = 0;
  EXPECT_THROW(_lock.Leave(), std::runtime_error);
  _ctx.recursion_cnt = -1;
  EXPECT_THROW(static_cast<void>(_lock.TryEnter()), std::runtime_error);
  ExpectWords(-1, me);
}

// The dead owner's handle in the word still keeps its thread object alive.
TEST_F(VelRecursiveThreadSpinLockTest, TakenFromAnOwnerThatHasEnded) {
  std::thread([&] {
    _lock.Enter();
    _lock.Enter();
  }).join();
  EXPECT_TRUE(_lock.TryEnter());
  ExpectWords(1, GetCurrentThreadId());
  _lock.Leave();
  ExpectWords(0, 0);
}

TEST_F(VelRecursiveThreadSpinLockTest, TakenFromAnOwnerThatWasKilled) {
  test::HoldingThread owner([&] {
    _lock.Enter();
    // As when the owner was another process's: no handle is left.
    const UINT_PTR handle = _ctx.owner_handle.exchange(0);
    CloseHandle(reinterpret_cast<HANDLE>(handle));
  });
  EXPECT_FALSE(_lock.TryEnter());
  owner.Kill();
  EXPECT_TRUE(_lock.TryEnter());
  ExpectWords(1, GetCurrentThreadId());
  _lock.Leave();
}

TEST_F(VelRecursiveThreadSpinLockTest, ExcludesUnderContention) {
  long long counter = 0;
  test::RunTogether(4, [&](int) {
    for (int i = 0; i < 100; ++i) {
      const VelRecursiveThreadSpinLock::Scope scope(_lock);
      counter = counter + 1;
    }
  });
  EXPECT_EQ(counter, 400);
  ExpectWords(0, 0);
}

// A clock that a test moves on: each look at it takes `tick_step` ms.
std::atomic<DWORD> tick_now;
std::atomic<DWORD> tick_step;
DWORD WINAPI FakeTicks() {
  return tick_now.fetch_add(tick_step);
}

class VelMultiReadSpinLockTest : public testing::Test {
 protected:
  VelMultiReadSpinLockTest() {
    tick_now = 1000;
    tick_step = 0;
  }

  VelMultiReadSpinLock::Context _ctx;
  VelMultiReadSpinLock _lock{&_ctx, FakeTicks};
};

TEST_F(VelMultiReadSpinLockTest, ReadersRunTogetherAndAWriterAlone) {
  SetLastError(0x1234);
  _lock.ReadLock();
  _lock.ReadLock();
  EXPECT_EQ(_ctx.readers, 2);
  EXPECT_EQ(_ctx.locker, 0u);
  _lock.ReadUnlock();
  _lock.ReadUnlock();
  _lock.WriteLock();
  EXPECT_EQ(_ctx.locker, GetCurrentThreadId());
  _lock.WriteUnlock();
  EXPECT_EQ(_ctx.locker, 0u);
  EXPECT_EQ(GetLastError(), 0x1234u);
}

TEST_F(VelMultiReadSpinLockTest, ReadersNeverSeeHalfAWrite) {
  long long first = 0;
  long long second = 0;
  test::RunTogether(4, [&](int number) {
    for (int i = 0; i < 500; ++i) {
      if (number != 0) {
        _lock.WriteLock();
        first = first + 1;
        second = second + 1;
        _lock.WriteUnlock();
      } else {
        _lock.InternalLock(true);
        EXPECT_EQ(first, second);
        _lock.InternalUnlock();
      }
    }
  });
  EXPECT_EQ(first, 3 * 500);
}

TEST_F(VelMultiReadSpinLockTest, AKilledLockerIsForgottenAtTheFirstCheck) {
  const test::LogCapture log;
  test::HoldingThread writer([&] { _lock.WriteLock(); });
  writer.Kill();
  tick_step = 600;
  _lock.ReadLock();
  EXPECT_EQ(_ctx.readers, 1);
  _lock.ReadUnlock();
  EXPECT_TRUE(
      log.Contains(2, L"VelMultiReadSpinLock::ValidateLocker - tid=0x"));
  EXPECT_FALSE(log.Contains(3, L"timeout"));
}

// A writer that meets a reader keeps the internal lock, so nobody else gets in,
// and forces the lock open after 262144 ms.
TEST_F(VelMultiReadSpinLockTest, AWriterSitsOutItsReaders) {
  const test::LogCapture log;
  _lock.ReadLock();
  std::thread writer([&] {
    _lock.WriteLock();
    EXPECT_EQ(_ctx.locker, GetCurrentThreadId());
    EXPECT_EQ(_ctx.readers, 0);
    _lock.WriteUnlock();
  });
  while (_ctx.locker == 0) Sleep(1);
  _lock.ReadUnlock();
  Sleep(50);
  EXPECT_NE(_ctx.locker, 0u) << "the writer looked at the readers again";
  EXPECT_FALSE(log.Contains(3, L"timeout"));
  tick_step = 0x10000;
  writer.join();
  EXPECT_TRUE(log.Contains(3, L"VelMultiReadSpinLock::InternalLock - timeout"));
}

VEL_CHILD_MAIN(MisuseMultiReadSpinLock) {
  VelMultiReadSpinLock::Context ctx;
  VelMultiReadSpinLock lock(&ctx);
  if (argument == L"read") lock.ReadUnlock();
  if (argument == L"write") lock.WriteUnlock();
  return 1;
}

TEST_F(VelMultiReadSpinLockTest, UnlockingTooOftenTraps) {
  for (const wchar_t* misuse : {L"read", L"write"}) {
    test::ChildProcess child(L"MisuseMultiReadSpinLock", misuse);
    EXPECT_EQ(child.Wait(), 0x80000003) << misuse;
  }
}

}  // namespace
}  // namespace vel
