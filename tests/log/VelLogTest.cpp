#include "log/VelLog.h"

#include <tuple>

#include "log/LogSettings.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/LogDirectory.h"
#include "support/Threads.h"
#include "sync/Trap.h"

namespace vel {
namespace {

using test::LogCapture;
using test::LogLine;

constexpr char kLogSource[] = ".\\VelLogTest";

TEST(LogSettings, TheLevelComesFromTheEnvironment) {
  const std::wstring too_long(64, L'1');
  const std::tuple<std::wstring, const wchar_t*, unsigned> kCases[] = {
      {L"", L"", 2},        {L"0", L"", 0},        {L"12x", L"", 12},
      {L"x1", L"", 2},      {L"-1", L"", 2},       {too_long, L"", 2},
      {L"", L"pRIVACY", 5}, {L"", L"Privacy2", 2}, {L"1", L"Privacy", 1},
  };
  for (const auto& [vellog, velcfg, level] : kCases) {
    const test::ScopedVariable log(L"VELLOG", vellog), cfg(L"VELCFG", velcfg);
    EXPECT_EQ(read_log_level(), level) << vellog << ", " << velcfg;
  }
}

TEST(VelLog, ARecordSaysWhenWhoAndWhat) {
  const LogCapture log;
  SetLastError(1234);
  VEL_LOG_WIN32_CALL();
  const std::wstring call = std::to_wstring(__LINE__ - 1) + L" 1234";
  VEL_LOG_LINE();
  VelLog_HrCall(kLogSource, 7, E_OUTOFMEMORY);
  VelLog_HrCall(kLogSource, 8, S_FALSE);
  EXPECT_TRUE(log.Contains(3, L"VEL_LOG_WIN32_CALL: '.\\VelLogTest': " + call));
  EXPECT_TRUE(log.Contains(4, L"VEL_LOG_LINE: '.\\VelLogTest':"));
  EXPECT_TRUE(log.Contains(3, L"VEL_LOG_HR_CALL: '.\\VelLogTest': 7 0x800"));
  EXPECT_TRUE(log.Contains(2, L"VEL_LOG_HR_CALL: '.\\VelLogTest': 8 0x1"));
  VelLog_Print(2, L"%s|%S|%I64i|%i", L"wide", "narrow", 1LL << 40, -1);
  const LogLine line = log.Lines().back();
  EXPECT_EQ(line.text, L"wide|narrow|1099511627776|-1");
  EXPECT_EQ(line.process, GetCurrentProcessId());
  EXPECT_EQ(line.thread, GetCurrentThreadId());
  EXPECT_LT(GetTickCount() - line.tick, 60000u);
}

// Around the end of the stack buffer, through the sizes of the heap path, past
// the collecting buffer, and past what a record can be.
TEST(VelLog, ARecordOfAnyLengthIsWholeAndPadded) {
  std::vector<std::size_t> lengths = {0,      1,      2,      256,     5000,
                                      0x7F00, 0x8000, 0x8800, 0x20000, 0xF0000};
  for (std::size_t i = 1730; i < 1790; ++i) lengths.push_back(i);
  const LogCapture log;
  for (const std::size_t length : lengths) {
    VelLog_Print(2, L"before");
    VelLog_Print(2, L"%s", std::wstring(length, L'x').c_str());
  }
  VelLog_Print(2, L"%s", std::wstring(0x100000, L'y').c_str());
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 1 + 2 * lengths.size());
  for (std::size_t i = 0; i < lengths.size(); ++i) {
    EXPECT_EQ(lines[1 + 2 * i].text, L"before");
    EXPECT_TRUE(lines[2 + 2 * i].text == std::wstring(lengths[i], L'x'));
  }
}

TEST(VelLog, AnErrorOrAnOldBufferGoesToTheFile) {
  const LogCapture log(2);
  VelLog_Print(1, L"below the threshold");
  VelLog_Print(4, L"notice");
  EXPECT_EQ(log.LinesOnDisk().size(), 0u);
  VelLog_Print(3, L"error");
  EXPECT_EQ(log.LinesOnDisk().size(), 3u);
  VelLog_Print(2, L"old");
  EXPECT_EQ(log.LinesOnDisk().size(), 3u);
  LogCapture::ExpirePushInterval();
  VelLog_Print(2, L"next");
  EXPECT_EQ(log.LinesOnDisk().back().text, L"old");
  VelLog_FlushBuffer();
  EXPECT_EQ(log.LinesOnDisk().back().text, L"next");
}

TEST(VelLog, KeepsTheLastErrorOnEveryPath) {
  const auto expect_kept = [] {
    for (unsigned level = 0; level < kLogFatal; ++level) {
      for (const std::size_t length : {5, 3000, 0x100000}) {
        const std::wstring text(length, L'x');
        SetLastError(0x1234);
        VelLog_Print(level, L"%s", text.c_str());
        EXPECT_EQ(GetLastError(), 0x1234u) << level << ", " << length;
      }
    }
  };
  expect_kept();
  const LogCapture log;
  expect_kept();
}

TEST(IVelLog, BeginsWithABannerAndCountsItsUsers) {
  const LogCapture log;
  IVelLog::create(L"OTHER");
  IVelLog::release();
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].text.find(L"] IVelLog::create source='VELTEST' cmdline='" +
                               std::wstring(GetCommandLineW()) + L"'"),
            std::wstring::npos);
  EXPECT_EQ(lines[1].text, L"IVelLog::create refcnt=2");
  EXPECT_EQ(lines[2].text, L"IVelLog::release refcnt=1");
  EXPECT_EQ(lines[2].level, 1u);
}

TEST(IVelLog, ComesAndGoesUnderItsCallers) {
  const test::LogDirectory logs(L"1");
  std::atomic<bool> stop{false};
  std::jthread caller([&] {
    while (!stop) VelLog_Print(2, L"any moment");
  });
  for (int i = 0; i < 100; ++i) IVelLog::create(L"T"), IVelLog::release();
  stop = true;
}

// "<threshold, - for no log> <log file>"
VEL_CHILD_MAIN(LogAFatalRecord) {
  if (argument[0] != L'-') {
    new LogCapture(static_cast<unsigned>(argument[0] - L'0'),
                   argument.substr(2));
  }
  VelLog_Print(2, L"before");
  VelLog_Print(5, L"fatal %i", 7);
  return 0;
}

TEST(VelLog, AFatalRecordTrapsWithTheRecordOnDisk) {
  const test::ScratchDirectory directory;
  const std::wstring path = directory.File(L"fatal.swl");
  for (const wchar_t* threshold : {L"-", L"9", L"1"}) {
    test::ChildProcess child(L"LogAFatalRecord",
                             std::wstring(threshold) + L" " + path);
    EXPECT_EQ(child.Wait(), 0x80000003) << threshold;
  }
  const std::vector<LogLine> lines = test::ReadLog(path);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[2].text, L"fatal 7");
}

// "<who has the log's lock, or w for a trap in a word lock> <log file>"
VEL_CHILD_MAIN(TrapWithAFullBuffer) {
  const LogCapture log(2, argument.substr(2));
  VelLog_Print(4, L"known");
  SetLastError(0x1234);
  VelLog_TryFlushBuffer();
  if (GetLastError() != 0x1234) return 1;
  VelLog_Print(4, L"last");
  std::optional<test::HoldingThread> other;
  if (argument[0] == L'o') other.emplace([] { LogCapture::Lock().lock(); });
  if (argument[0] == L'm') LogCapture::Lock().lock();
  if (argument[0] == L'w') vel_trap_in_lock();
  vel_trap();
}

TEST(VelLog, ATrapComesWithTheBufferInTheFileIfTheLockIsToBeHad) {
  const test::ScratchDirectory directory;
  for (const wchar_t* owner : {L"-", L"o", L"m", L"w"}) {
    const std::wstring path = directory.File(std::wstring(owner) + L".swl");
    const DWORD start = GetTickCount();
    test::ChildProcess child(L"TrapWithAFullBuffer",
                             std::wstring(owner) + L" " + path);
    EXPECT_EQ(child.Wait(), 0x80000003) << owner;
    EXPECT_GE(GetTickCount() - start, *owner == L'o' ? 1000u : 0u);
    const std::vector<LogLine> lines = test::ReadLog(path);
    const std::wstring end = lines.empty() ? L"" : lines.back().text;
    EXPECT_EQ(end, *owner == L'-' ? L"last" : L"known") << owner;
  }
}

}  // namespace
}  // namespace vel
