#include <gtest/gtest.h>

#include <stdexcept>

#include "support/LogCapture.h"
#include "support/Threads.h"
#include "sync/VelMultiReadSpinLock.h"
#include "sync/VelRecursiveMutex.h"
#include "sync/VelRecursiveRWLock.h"
#include "sync/VelRecursiveThreadSpinLock.h"
#include "sync/VelSpinLock.h"

namespace vel {

class VelRWLockPeer {
 public:
  static int Readers(const VelRWLock& lock) { return lock._readers; }
  static int Writers(const VelRWLock& lock) { return lock._writers; }
  static HANDLE Gate(const VelRWLock& lock) { return lock._gate.load(); }
};

class VelRecursiveRWLockPeer {
 public:
  static const VelRWLock& Base(const VelRecursiveRWLock& lock) { return lock; }
  static DWORD Slot(const VelRecursiveRWLock& lock) { return lock._tls_index; }
};

namespace {

// Writers change both halves, readers compare them.
template <typename Read, typename Write = Read, typename Lock>
void ExpectWholeData(Lock& lock, int rounds = 1000) {
  long long first = 0;
  long long second = 0;
  std::atomic<int> torn{0};
  test::RunTogether(6, [&](int number) {
    for (int i = 0; i < rounds; ++i) {
      if (number < 2) {
        const Write scope(lock);
        first = first + 1;
        if (i % 250 == 0) Sleep(0);
        second = second + 1;
      } else {
        const Read scope(lock);
        if (first != second) ++torn;
      }
    }
  });
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(first, 2 * rounds);
}

TEST(Locks, ExcludeUnderContention) {
  for (const bool multi : {true, false}) {
    const bool saved = std::exchange(multi_cpu, multi);
    VelFastMutex mutex;
    ExpectWholeData<VelFastMutex::Scope>(mutex);
    multi_cpu = saved;
  }
  VelRecursiveMutex recursive_mutex;
  ExpectWholeData<VelRecursiveMutex::Scope>(recursive_mutex);
  VelRWLock rw_lock;
  ExpectWholeData<VelRWLock::ReadScope, VelRWLock::WriteScope>(rw_lock);
  VelRecursiveRWLock recursive_rw;
  ExpectWholeData<VelRecursiveRWLock::ReadScope,
                  VelRecursiveRWLock::WriteScope>(recursive_rw);
  VelSpinLock spin_lock;
  ExpectWholeData<VelSpinLock::Scope>(spin_lock);
  VelRecursiveThreadSpinLock::Context thread_context;
  VelRecursiveThreadSpinLock thread_lock(&thread_context);
  ExpectWholeData<VelRecursiveThreadSpinLock::Scope>(thread_lock, 50);
  // No readers: a writer that meets one isn't to look again.
  VelMultiReadSpinLock::Context context;
  VelMultiReadSpinLock multi_read(&context);
  ExpectWholeData<VelMultiReadSpinLock::WriteScope>(multi_read);
}

TEST(VelRecursiveMutex, IsFreeAfterAsManyLeavesAsEntries) {
  VelRecursiveMutex mutex;
  const auto others_get_in = [&mutex] {
    bool entered = false;
    std::thread([&] {
      entered = mutex.try_enter();
      if (entered) mutex.leave();
    }).join();
    return entered;
  };
  mutex.enter();
  EXPECT_TRUE(mutex.try_enter());
  EXPECT_FALSE(others_get_in());
  mutex.leave();
  EXPECT_FALSE(others_get_in());
  mutex.leave();
  EXPECT_TRUE(others_get_in());
}

// The gate, opened once by the last reader, must wake every writer in turn.
TEST(VelRWLock, AllWritersGetTheirTurnBehindTheLastReader) {
  VelRWLock lock;
  std::atomic<int> writes{0};
  std::vector<std::thread> writers;
  lock.read_lock();
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      const VelRWLock::WriteScope scope(lock);
      ++writes;
    });
  }
  while (VelRWLockPeer::Gate(lock) == nullptr) Sleep(1);
  Sleep(50);
  std::thread([&] { const VelRWLock::ReadScope scope(lock); }).join();
  EXPECT_EQ(writes, 0);
  lock.read_unlock();
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(writes, 4);
}

struct Step {
  void (VelRecursiveRWLock::*operation)();
  int readers;
  int writers;
};

TEST(VelRecursiveRWLock, NestsInEveryOrder) {
  constexpr auto kRead = &VelRecursiveRWLock::read_lock;
  constexpr auto kReadEnd = &VelRecursiveRWLock::read_unlock;
  constexpr auto kWrite = &VelRecursiveRWLock::write_lock;
  constexpr auto kWriteEnd = &VelRecursiveRWLock::write_unlock;
  const std::vector<std::vector<Step>> kOrders = {
      {{kRead, 1, 0}, {kWrite, 0, 1}, {kWriteEnd, 1, 0}, {kReadEnd, 0, 0}},
      {{kRead, 1, 0}, {kRead, 1, 0}, {kReadEnd, 1, 0}, {kReadEnd, 0, 0}},
      {{kWrite, 0, 1}, {kWrite, 0, 1}, {kWriteEnd, 0, 1}, {kWriteEnd, 0, 0}},
      {{kWrite, 0, 1}, {kRead, 0, 1}, {kReadEnd, 0, 1}, {kWriteEnd, 0, 0}},
      {{kWrite, 0, 1}, {kRead, 0, 1}, {kWriteEnd, 1, 0}, {kReadEnd, 0, 0}},
      {{kRead, 1, 0}, {kWrite, 0, 1}, {kReadEnd, 0, 1}, {kWriteEnd, 0, 0}},
  };
  VelRecursiveRWLock lock;
  const VelRWLock& base = VelRecursiveRWLockPeer::Base(lock);
  for (std::size_t order = 0; order < kOrders.size(); ++order) {
    for (const Step& step : kOrders[order]) {
      SCOPED_TRACE(order);
      SetLastError(0x1234);
      (lock.*step.operation)();
      EXPECT_EQ(GetLastError(), 0x1234u);
      EXPECT_EQ(VelRWLockPeer::Readers(base), step.readers);
      EXPECT_EQ(VelRWLockPeer::Writers(base), step.writers);
    }
    EXPECT_EQ(TlsGetValue(VelRecursiveRWLockPeer::Slot(lock)), nullptr);
  }
}

TEST(VelSpinLock, TakenFromAnOwnerThatWasKilledNotFromOneThatLives) {
  const test::LogCapture log;
  VelSpinLock lock;
  std::atomic<bool> taken{false};
  test::HoldingThread owner([&] { lock.lock(); });
  std::thread waiter([&] {
    const VelSpinLock::Scope scope(lock);
    taken = true;
  });
  Sleep(600);  // past the probes
  EXPECT_FALSE(taken);
  owner.Kill();
  waiter.join();
  EXPECT_TRUE(log.Contains(3, L"::WaitLoop - locker=0x"));
  EXPECT_TRUE(log.Contains(3, L" rv=0x"));
}

class VelRecursiveThreadSpinLockTest : public testing::Test {
 protected:
  void ExpectWords(int count, unsigned owner) {
    EXPECT_EQ(_ctx.recursion_cnt, count);
    EXPECT_EQ(_ctx.owner_tid, owner);
    EXPECT_TRUE(owner != 0 || _ctx.owner_handle == 0);
  }

  VelRecursiveThreadSpinLock::Context _ctx;
  VelRecursiveThreadSpinLock _lock{&_ctx};
};

TEST_F(VelRecursiveThreadSpinLockTest, MisuseThrowsAndChangesNothing) {
  const DWORD me = GetCurrentThreadId();
  _lock.Enter();
  _lock.Enter();
  std::thread([&] {
    EXPECT_FALSE(_lock.IsHeldByMe());
    EXPECT_FALSE(_lock.TryEnter());
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
  ExpectWords(2, me);
  _lock.Leave();
  _lock.Leave();
  ExpectWords(0, 0);
  _ctx.recursion_cnt = -1;
  EXPECT_THROW(static_cast<void>(_lock.TryEnter()), std::runtime_error);
  EXPECT_THROW(_lock.Leave(), std::runtime_error);
  ExpectWords(-1, me);
}

TEST_F(VelRecursiveThreadSpinLockTest, TakenFromAnOwnerThatWasKilled) {
  test::HoldingThread owner([&] {
    _lock.Enter();
    // As when the owner was another process's: no handle is left.
    const UINT_PTR handle = _ctx.owner_handle.exchange(0);
    CloseHandle(reinterpret_cast<HANDLE>(handle));
  });
  owner.Kill();
  EXPECT_TRUE(_lock.TryEnter());
  ExpectWords(1, GetCurrentThreadId());
}

// A clock that a test moves on: each look at it takes `tick_step` ms.
std::atomic<DWORD> tick_now{1000};
std::atomic<DWORD> tick_step{0};
DWORD WINAPI FakeTicks() {
  return tick_now.fetch_add(tick_step);
}

// A writer that meets a reader keeps the internal lock, so nobody else gets in,
// and forces the lock open after 262144 ms.
TEST(VelMultiReadSpinLock, AWriterSitsOutItsReaders) {
  const test::LogCapture log;
  VelMultiReadSpinLock::Context ctx;
  VelMultiReadSpinLock lock(&ctx, FakeTicks);
  lock.ReadLock();
  SetLastError(0x1234);
  lock.ReadLock();
  EXPECT_EQ(GetLastError(), 0x1234u);
  EXPECT_EQ(ctx.readers, 2);
  std::thread writer([&] { lock.WriteLock(); });
  while (ctx.locker == 0) Sleep(1);
  lock.ReadUnlock();
  lock.ReadUnlock();
  Sleep(50);
  EXPECT_FALSE(log.Contains(3, L"timeout"));
  tick_step = 0x10000;
  writer.join();
  EXPECT_TRUE(log.Contains(3, L"VelMultiReadSpinLock::InternalLock - timeout"));
}

}  // namespace
}  // namespace vel
