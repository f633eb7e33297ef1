#include "sync/VelRWLock.h"

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Threads.h"
#include "sync/VelRecursiveRWLock.h"

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

using Peer = VelRWLockPeer;
using RecursivePeer = VelRecursiveRWLockPeer;

// Writers change both halves, readers compare them.
template <typename Lock>
void ExpectWholeData() {
  constexpr int kRounds = 1500;
  Lock lock;
  long long first = 0;
  long long second = 0;
  std::atomic<int> torn{0};
  test::RunTogether(6, [&](int number) {
    for (int i = 0; i < kRounds; ++i) {
      if (number < 2) {
        const typename Lock::WriteScope scope(lock);
        first = first + 1;
        if (i % 300 == 0) Sleep(0);
        second = second + 1;
      } else {
        const typename Lock::ReadScope scope(lock);
        if (first != second) ++torn;
      }
    }
  });
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(first, 2 * kRounds);
}

TEST(VelRWLock, ReadersNeverSeeHalfAWrite) {
  ExpectWholeData<VelRWLock>();
}

TEST(VelRecursiveRWLock, ReadersNeverSeeHalfAWrite) {
  ExpectWholeData<VelRecursiveRWLock>();
}

TEST(VelRWLock, ReadersRunTogether) {
  VelRWLock lock;
  test::Meeting all_in(4);
  test::RunTogether(4, [&](int) {
    const VelRWLock::ReadScope scope(lock);
    all_in.Join();
  });
  EXPECT_EQ(Peer::Readers(lock), 0);
  EXPECT_EQ(Peer::Gate(lock), nullptr);
}

TEST(VelRWLock, WriterWaitsForTheLastReader) {
  VelRWLock lock;
  std::atomic<bool> writing{false};
  lock.read_lock();
  std::thread writer([&] {
    const VelRWLock::WriteScope scope(lock);
    writing = true;
  });
  while (Peer::Gate(lock) == nullptr) Sleep(1);
  std::thread([&] { const VelRWLock::ReadScope scope(lock); }).join();
  EXPECT_FALSE(writing);
  lock.read_unlock();
  writer.join();
  EXPECT_TRUE(writing);
  EXPECT_EQ(Peer::Writers(lock), 0);
}

// A gate opened once must wake every writer in turn.
TEST(VelRWLock, AllWaitingWritersGetTheirTurn) {
  constexpr int kWriters = 4;
  VelRWLock lock;
  int writes = 0;
  std::vector<std::thread> writers;
  lock.read_lock();
  for (int i = 0; i < kWriters; ++i) {
    writers.emplace_back([&] {
      const VelRWLock::WriteScope scope(lock);
      ++writes;
    });
  }
  Sleep(50);
  lock.read_unlock();
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(writes, kWriters);
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
  for (std::size_t order = 0; order < kOrders.size(); ++order) {
    for (const Step& step : kOrders[order]) {
      SCOPED_TRACE(order);
      SetLastError(0x1234);
      (lock.*step.operation)();
      EXPECT_EQ(GetLastError(), 0x1234u);
      EXPECT_EQ(Peer::Readers(RecursivePeer::Base(lock)), step.readers);
      EXPECT_EQ(Peer::Writers(RecursivePeer::Base(lock)), step.writers);
    }
    EXPECT_EQ(TlsGetValue(RecursivePeer::Slot(lock)), nullptr);
  }
}

VEL_CHILD_MAIN(UnlockRecursiveRWLock) {
  VelRecursiveRWLock lock;
  if (argument == L"read") lock.read_unlock();
  if (argument == L"write") lock.write_unlock();
  if (argument == L"depth") {
    for (int i = 0; i < 0xFFFF; ++i) lock.read_lock();
    SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG {
      TerminateProcess(GetCurrentProcess(), 7);
      return EXCEPTION_EXECUTE_HANDLER;
    });
    lock.read_lock();
  }
  return 1;
}

TEST(VelRecursiveRWLock, DepthsOutOfRangeTrap) {
  const std::pair<const wchar_t*, DWORD> kCases[] = {
      {L"read", 0x80000003}, {L"write", 0x80000003}, {L"depth", 7}};
  for (const auto& [misuse, code] : kCases) {
    test::ChildProcess child(L"UnlockRecursiveRWLock", misuse);
    EXPECT_EQ(child.Wait(), code) << misuse;
  }
}

}  // namespace
}  // namespace vel
