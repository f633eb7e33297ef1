// Several processes on one log file, through many rotations.

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <map>
#include <vector>

#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogFile.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/VelLogStreamPeer.h"
#include "support/Wait.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

constexpr unsigned kWriters = 8;
constexpr unsigned kRecordsPerPush = 16;
constexpr std::uint64_t kLimit = 128 * 1024;

// What the writers tell of themselves: records before and behind a push.
struct Progress {
  volatile LONG begun[kWriters], done[kWriters];
};

Progress* OpenProgress() {
  const HANDLE mapping =
      CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                         sizeof(Progress), L"VELTest.LogSharing");
  return static_cast<Progress*>(
      MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(Progress)));
}

std::wstring Text(unsigned writer, LONG number) {
  return std::to_wstring(writer) + L":" + std::to_wstring(number) + L" " +
         std::wstring(1500 + number % 200, static_cast<wchar_t>(L'a' + writer));
}

// "<writer> <pushes> <pause in ms> <l: pushes under a lock of the test>"
VEL_CHILD_MAIN(ShareTheLog) {
  unsigned writer, pushes, pause;
  wchar_t form;
  if (swscanf(argument.c_str(), L"%u %u %u %c", &writer, &pushes, &pause,
              &form) != 4) {
    return 2;
  }
  Progress* const progress = OpenProgress();
  const ScopedHandle turn(CreateMutexW(nullptr, FALSE, L"VELTest.LogTurn"));
  IVelLog::create(L"SHARED");
  VelLogStreamPeer().rotation_limit() = kLimit;
  for (LONG number = 0; pushes-- != 0;) {
    if (form == L'l') WaitForSingleObject(turn.get(), INFINITE);
    for (unsigned i = 0; i < kRecordsPerPush; ++i) {
      progress->begun[writer] = number + 1;
      VelLog_Print(2, L"%s", Text(writer, number++).c_str());
    }
    VelLog_FlushBuffer();
    progress->done[writer] = number;
    if (form == L'l') ReleaseMutex(turn.get());
    if (pause != 0) Sleep(pause);
  }
  // The closing statistics are for the ends that the product makes.
  TerminateProcess(GetCurrentProcess(), 0);
  return 0;
}

// The numbers of each writer's records, in the order of the files.
struct Reader {
  std::map<unsigned, std::vector<LONG>> found;

  void Read(const std::wstring& path) {
    for (const test::LogLine& line : test::ReadLog(path)) {
      if (line.text.find(L"IVelLog::create") != std::wstring::npos) continue;
      const auto writer = static_cast<unsigned>(line.text[0] - L'0');
      const LONG number = _wtoi(line.text.c_str() + 2);
      ASSERT_LT(writer, kWriters);
      EXPECT_EQ(line.text, Text(writer, number)) << "a damaged record";
      found[writer].push_back(number);
    }
  }
};

void Share(unsigned writers, unsigned pushes, wchar_t form) {
  const test::ScratchDirectory directory;
  const test::ScopedVariable temporary(L"TMP", directory.path());
  const test::ScopedVariable flags(L"VELLOGFLAGS",
                                   test::HasPrivateKey() ? L"0" : L"1");
  Progress* const progress = OpenProgress();
  std::memset(const_cast<LONG*>(progress->begun), 0, sizeof *progress);
  std::vector<test::ChildProcess> children;
  const auto slow = [](unsigned writer) { return writer % 4 == 3; };
  const auto killed = [](unsigned writer) { return writer % 4 == 2; };
  for (unsigned i = 0; i < writers; ++i) {
    children.emplace_back(L"ShareTheLog",
                          std::to_wstring(i) + L" " +
                              std::to_wstring(slow(i) ? pushes / 10 : pushes) +
                              (slow(i) ? L" 20 " : L" 0 ") + form);
  }
  for (unsigned i = 0; i < writers; ++i) {
    if (killed(i)) {
      const LONG enough =
          static_cast<LONG>(1000 * (i + 1) + GetTickCount() % 500);
      EXPECT_TRUE(test::WaitUntil([&] { return progress->begun[i] > enough; }));
      children[i].Kill();
    }
  }
  for (unsigned i = 0; i < writers; ++i) {
    EXPECT_EQ(children[i].Wait(60000), killed(i) ? 1u : 0u) << i;
  }

  const std::wstring path = directory.File(L"VelTmp\\Logs\\SHARED.swl");
  Reader reader;
  reader.Read(path + L".old");
  reader.Read(path);
  EXPECT_FALSE(reader.found.empty());
  LONG pushed = 0, left = 0;
  for (unsigned i = 0; i < writers; ++i) pushed += progress->begun[i];
  for (const auto& [writer, numbers] : reader.found) {
    left += static_cast<LONG>(numbers.size());
    for (std::size_t i = 1; i < numbers.size(); ++i) {
      EXPECT_TRUE(form != L'l' || numbers[i] == numbers[i - 1] + 1);
      EXPECT_GT(numbers[i], numbers[i - 1]) << writer;
    }
    EXPECT_GE(numbers.back() + 1, progress->done[writer]);
    EXPECT_LE(numbers.back() + 1, progress->begun[writer]);
  }
  const auto size = static_cast<LONG>(sizeof(wchar_t) * 1500);
  printf("%ld of %ld records are left, after about %ld rotations\n", left,
         pushed, pushed * (size / 64) / (static_cast<LONG>(kLimit) / 64));
  EXPECT_LT(left, static_cast<LONG>(3 * kLimit / size));
  EXPECT_TRUE(
      test::ReadBytes(directory.File(L"VelTmp\\Logs\\killed.0")).empty());
}

TEST(LogSharing, TwoProcesses) {
  Share(2, 400, L'l');
}

TEST(LogSharing, EightProcessesSomeSlowSomeKilled) {
  Share(8, 1500, L'l');
}

TEST(LogSharing, EightProcessesWithoutALock) {
  if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version")) {
    GTEST_SKIP() << "Wine doesn't append atomically";
  }
  Share(8, 1500, L'-');
}

}  // namespace
}  // namespace vel
