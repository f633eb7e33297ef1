// Several processes on one log file, through many rotations.

#include <gtest/gtest.h>

#include <cstring>

#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogDirectory.h"
#include "support/VelLogStreamPeer.h"
#include "support/Wait.h"

namespace vel {
namespace {

constexpr unsigned kWriters = 8;
constexpr unsigned kRecordsPerPush = 16;
constexpr std::size_t kRecordChars = 1500;  // at least
constexpr std::uint64_t kLimit = 128 * 1024;
constexpr UINT kPushedAll = 7;

// How many records each writer has begun, and has pushed to the file.
struct Progress {
  volatile LONG begun[kWriters], pushed[kWriters];
};

Progress& OpenProgress() {
  const HANDLE mapping =
      CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                         sizeof(Progress), L"VELTest.LogSharing");
  return *static_cast<Progress*>(
      MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(Progress)));
}

std::wstring Text(std::size_t writer, LONG number) {
  return std::to_wstring(writer) + L":" + std::to_wstring(number) + L" " +
         std::wstring(kRecordChars + static_cast<std::size_t>(number % 200),
                      static_cast<wchar_t>(L'a' + writer));
}

// "<writer> <pushes> <pause in ms>". Pushes go one at a time: not every system
// appends atomically.
VEL_CHILD_MAIN(ShareTheLog) {
  unsigned writer, pushes, pause;
  if (swscanf(argument.c_str(), L"%u %u %u", &writer, &pushes, &pause) != 3) {
    return 2;
  }
  Progress& progress = OpenProgress();
  const ScopedHandle turn(CreateMutexW(nullptr, FALSE, L"VELTest.LogTurn"));
  IVelLog::create(L"SHARED");
  VelLogStreamPeer().rotation_limit() = kLimit;
  for (LONG number = 0; pushes-- != 0; Sleep(pause)) {
    WaitForSingleObject(turn.get(), INFINITE);
    for (unsigned i = 0; i < kRecordsPerPush; ++i) {
      progress.begun[writer] = number + 1;
      VelLog_Print(2, L"%s", Text(writer, number++).c_str());
    }
    VelLog_FlushBuffer();
    progress.pushed[writer] = number;
    ReleaseMutex(turn.get());
  }
  // The closing statistics would be records that nobody counts.
  TerminateProcess(GetCurrentProcess(), kPushedAll);
  return 2;
}

// The numbers of each writer's records in both files, in their order.
std::vector<std::vector<LONG>> ReadBoth(const std::wstring& path) {
  std::vector<std::vector<LONG>> found(kWriters);
  for (const std::wstring& file : {path + L".old", path}) {
    for (const test::LogLine& line : test::ReadLog(file)) {
      if (line.level == kLogNotice) continue;  // a banner
      const auto writer = static_cast<std::size_t>(line.text[0] - L'0');
      const LONG number = _wtoi(line.text.c_str() + 2);
      EXPECT_EQ(line.text, Text(writer, number)) << "a damaged record";
      found.at(writer).push_back(number);
    }
  }
  return found;
}

// Emptied files take the beginning of each writer's records away; a writer may
// also have ended before all that is left. What is left has no other gap.
TEST(LogSharing, EightProcessesSomeSlowSomeKilled) {
  constexpr unsigned pushes = 200;
  const test::LogDirectory logs(test::HasPrivateKey() ? L"0" : L"1");
  Progress& progress = OpenProgress();
  std::memset(const_cast<LONG*>(progress.begun), 0, sizeof progress);
  std::vector<test::ChildProcess> children;
  for (unsigned i = 0; i < kWriters; ++i) {
    const std::wstring pace = i % 4 == 3 ? std::to_wstring(pushes / 10) + L" 20"
                                         : std::to_wstring(pushes) + L" 0";
    children.emplace_back(L"ShareTheLog", std::to_wstring(i) + L" " + pace);
  }
  for (unsigned i = 2; i < kWriters; i += 4) {
    const LONG enough = static_cast<LONG>(300 * i + GetTickCount() % 500);
    EXPECT_TRUE(test::WaitUntil([&] { return progress.begun[i] > enough; }));
    children[i].Kill();
  }
  for (unsigned i = 0; i < kWriters; ++i) {
    EXPECT_EQ(children[i].Wait(60000), i % 4 == 2 ? 1u : kPushedAll) << i;
  }

  const auto found = ReadBoth(logs.Path(L"SHARED.swl"));
  std::size_t left = 0;
  for (unsigned i = 0; i < kWriters; ++i) {
    const std::vector<LONG>& numbers = found[i];
    left += numbers.size();
    for (std::size_t j = 1; j < numbers.size(); ++j) {
      EXPECT_EQ(numbers[j], numbers[j - 1] + 1) << i;
    }
    if (numbers.empty()) continue;
    EXPECT_GE(numbers.back() + 1, progress.pushed[i]);
    EXPECT_LE(numbers.back() + 1, progress.begun[i]);
  }
  EXPECT_GT(left, 0u);
  EXPECT_LT(left, 3 * kLimit / (kRecordChars * sizeof(wchar_t)));
  EXPECT_EQ(logs.Count(L"killed.*"), 0);
}

}  // namespace
}  // namespace vel
