#include "log/VelLog.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "log/VelLogStream.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"
#include "support/Threads.h"

namespace vel {
namespace {

using test::LogCapture;
using test::LogLine;

constexpr DWORD kBreakpoint = 0x80000003;
constexpr char kLogSource[] = ".\\VelLogTest";

// The length of the prefix of this thread's records.
std::size_t PrefixChars(unsigned level) {
  wchar_t prefix[64];
  return static_cast<std::size_t>(
      wsprintfW(prefix, L"[%x:%x:%x:%x] ", GetTickCount(),
                GetCurrentProcessId(), GetCurrentThreadId(), level));
}

struct LevelCase {
  const wchar_t* vellog;
  const wchar_t* velcfg;
  unsigned level;
};

TEST(VelLogStream, TakesItsLevelFromTheEnvironment) {
  const LevelCase kCases[] = {
      {nullptr, nullptr, 2},
      {L"0", nullptr, 0},
      {L"5", nullptr, 5},
      {L"12x", nullptr, 12},
      {L"x1", nullptr, 2},
      {L" 1", nullptr, 2},
      {L"-1", nullptr, 2},
      {nullptr, L"pRIVACY", 5},
      {nullptr, L"Privacy2", 2},
      {L"1", L"Privacy", 1},
      {L"x", L"Privacy", 5},
      {L"1111111111111111111111111111111111111111111111111111111111111111",
       nullptr, 2},  // too long for the buffer
  };
  for (const LevelCase& one : kCases) {
    SetEnvironmentVariableW(L"VELLOG", one.vellog);
    SetEnvironmentVariableW(L"VELCFG", one.velcfg);
    SetLastError(0x1234);
    const VelLogStream stream(L"VELTEST");
    EXPECT_EQ(GetLastError(), 0x1234u);
    EXPECT_EQ(stream.level(), one.level) << "case " << &one - kCases;
  }
  SetEnvironmentVariableW(L"VELLOG", nullptr);
  SetEnvironmentVariableW(L"VELCFG", nullptr);
}

TEST(VelLog, KeepsWhatIsAtTheThresholdOrAbove) {
  for (unsigned threshold = 0; threshold <= 5; ++threshold) {
    const LogCapture log(threshold);
    for (unsigned level = 0; level < kLogFatal; ++level) {
      VelLog_Print(level, L"level %u", level);
    }
    EXPECT_EQ(VelLog_IsDebug(), threshold < 2);
    for (unsigned level = 0; level < kLogFatal; ++level) {
      EXPECT_EQ(log.Contains(level, L"level " + std::to_wstring(level)),
                level >= threshold)
          << "level " << level << " at threshold " << threshold;
    }
  }
}

TEST(VelLog, ARecordSaysWhenWhoAndWhat) {
  const LogCapture log;
  const DWORD before = GetTickCount();
  VelLog_Print(2, L"%s|%S|%I64i|%i", L"wide", "narrow", 1LL << 40, -1);
  const DWORD after = GetTickCount();
  const LogLine line = log.Lines().back();
  EXPECT_EQ(line.text, L"wide|narrow|1099511627776|-1");
  EXPECT_EQ(line.level, 2u);
  EXPECT_EQ(line.process, GetCurrentProcessId());
  EXPECT_EQ(line.thread, GetCurrentThreadId());
  EXPECT_GE(line.tick, before);
  EXPECT_LE(line.tick, after);
}

TEST(VelLog, TheUsualFailuresHaveTheirForms) {
  const LogCapture log;
  SetLastError(1234);
  VEL_LOG_LINE();
  VEL_LOG_WIN32_CALL();
  const int line = __LINE__ - 1;
  VEL_LOG_HR_CALL(E_OUTOFMEMORY);
  VEL_LOG_HR_CALL(S_FALSE);
  EXPECT_EQ(GetLastError(), 1234u);
  const std::wstring source = L"'.\\VelLogTest': ";
  EXPECT_TRUE(log.Contains(4, L"VEL_LOG_LINE: '.\\VelLogTest':" +
                                  std::to_wstring(line - 1) + L" - "));
  EXPECT_TRUE(log.Contains(
      3, L"VEL_LOG_WIN32_CALL: " + source + std::to_wstring(line) + L" 1234"));
  EXPECT_TRUE(log.Contains(3, L"VEL_LOG_HR_CALL: " + source));
  EXPECT_TRUE(log.Contains(3, L" 0x8007000e"));
  EXPECT_TRUE(log.Contains(2, L" 0x1"));
}

// Around the end of the stack buffer, through the sizes of the heap path, past
// the collecting buffer, and past what a record can be.
TEST(VelLog, AMessageOfAnyLengthIsWhole) {
  const std::size_t stack_limit = 1780 - PrefixChars(2);
  std::vector<std::size_t> lengths = {0, 1, 7, 8, 9, 230, 256, 5000};
  for (std::size_t length = stack_limit - 10; length < stack_limit + 25;
       ++length) {
    lengths.push_back(length);
  }
  for (const std::size_t length : {0x7F00, 0x8000, 0x8800, 0x20000, 0xF0000}) {
    lengths.push_back(length);
  }
  const LogCapture log;
  for (const std::size_t length : lengths) {
    VelLog_Print(2, L"%s", std::wstring(length, L'x').c_str());
    VelLog_Print(2, L"after %u", static_cast<unsigned>(length));
  }
  VelLog_Print(2, L"%s", std::wstring(0x100000, L'y').c_str());
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 1 + 2 * lengths.size());
  for (std::size_t i = 0; i < lengths.size(); ++i) {
    EXPECT_TRUE(lines[1 + 2 * i].text == std::wstring(lengths[i], L'x'))
        << "length " << lengths[i];
    EXPECT_EQ(lines[2 + 2 * i].text, L"after " + std::to_wstring(lengths[i]));
  }
}

TEST(VelLog, EveryRecordIsAWholeNumberOfUnits) {
  const LogCapture log;
  VelLog_FlushBuffer();
  std::size_t size = log.Bytes().size();
  for (std::size_t length = 0; length < 20; ++length) {
    const std::size_t chars = PrefixChars(3) + length + 2;
    VelLog_Print(3, L"%s", std::wstring(length, L'x').c_str());
    const std::size_t grown = log.Bytes().size();
    EXPECT_EQ(grown - size, (chars + 7) / 8 * 16) << "length " << length;
    size = grown;
  }
}

TEST(VelLog, OnlyAnErrorIsInTheFileAtOnce) {
  const LogCapture log;
  VelLog_Print(4, L"notice");
  EXPECT_FALSE(LogCapture::Contains(log.LinesOnDisk(), 4, L"notice"));
  VelLog_Print(3, L"error");
  const std::vector<LogLine> lines = log.LinesOnDisk();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1].text, L"notice");
  EXPECT_EQ(lines[2].text, L"error");
  VelLog_Print(2, L"collected");
  EXPECT_EQ(log.LinesOnDisk().size(), 3u);
  VelLog_FlushBuffer();
  EXPECT_EQ(log.LinesOnDisk().size(), 4u);
}

TEST(VelLog, AnOldBufferGoesOutBeforeTheNextRecord) {
  const LogCapture log;
  VelLog_Print(2, L"old");
  LogCapture::ExpirePushInterval();
  VelLog_Print(2, L"next");
  EXPECT_TRUE(LogCapture::Contains(log.LinesOnDisk(), 2, L"old"));
  EXPECT_FALSE(LogCapture::Contains(log.LinesOnDisk(), 2, L"next"));
}

TEST(VelLog, AFullBufferGoesOutAndNothingIsLost) {
  constexpr unsigned kRecords = 3000;
  const LogCapture log;
  for (unsigned i = 0; i < kRecords; ++i) VelLog_Print(2, L"record %u", i);
  const std::size_t on_disk = log.LinesOnDisk().size();
  EXPECT_GT(on_disk, 800u);
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), kRecords + 1);
  for (unsigned i = 0; i < kRecords; ++i) {
    ASSERT_EQ(lines[i + 1].text, L"record " + std::to_wstring(i));
  }
}

TEST(VelLog, KeepsTheLastErrorOnEveryPath) {
  const std::wstring kLong(3000, L'x');
  const std::wstring kHuge(0x100000, L'x');
  const auto expect_kept = [&] {
    for (unsigned level = 0; level < kLogFatal; ++level) {
      for (const wchar_t* text : {L"short", kLong.c_str(), kHuge.c_str()}) {
        SetLastError(0x1234);
        VelLog_Print(level, L"%s", text);
        ASSERT_EQ(GetLastError(), 0x1234u) << "level " << level;
      }
    }
  };
  expect_kept();
  const LogCapture log;
  expect_kept();
}

TEST(VelLog, RecordsOfManyThreadsStayWhole) {
  constexpr int kThreads = 6;
  constexpr int kRecords = 400;
  const LogCapture log(2);
  test::RunTogether(kThreads, [](int number) {
    for (int i = 0; i < kRecords; ++i) {
      VelLog_Print(i % 100 == 0 ? 3 : 2, L"%i:%i", number, i);
    }
  });
  int next[kThreads] = {};
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), kThreads * kRecords + 1u);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const auto number = static_cast<std::size_t>(lines[i].text[0] - L'0');
    ASSERT_LT(number, std::size(next));
    EXPECT_EQ(lines[i].text,
              std::to_wstring(number) + L":" + std::to_wstring(next[number]++));
  }
}

TEST(IVelLog, BeginsWithABannerAndCountsItsUsers) {
  const LogCapture log;
  IVelLog::create(L"OTHER");
  VelLog_Print(2, L"still here");
  IVelLog::release();
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0].level, 4u);
  EXPECT_NE(lines[0].text.find(L"] IVelLog::create source='VELTEST' cmdline='" +
                               std::wstring(GetCommandLineW()) + L"'"),
            std::wstring::npos);
  EXPECT_EQ(lines[1].text, L"IVelLog::create refcnt=2");
  EXPECT_EQ(lines[3].text, L"IVelLog::release refcnt=1");
  EXPECT_EQ(lines[3].level, 1u);
}

TEST(IVelLog, WithoutALogCallsDoNothing) {
  VelLog_Print(3, L"nowhere");
  VelLog_FlushBuffer();
  EXPECT_FALSE(VelLog_IsDebug());
  EXPECT_EQ(VelLog_GetPath(), nullptr);
}

// In a process of its own: a timing scope that lives here would log at the
// release, and wait for the lock there.
VEL_CHILD_MAIN(ReleaseUnderACall) {
  auto log = std::make_unique<LogCapture>(1, argument);
  std::atomic<bool> released{false};
  LogLock& lock = LogCapture::Lock();
  lock.lock();
  std::thread caller([] { VelLog_Print(2, L"late"); });
  Sleep(100);
  std::thread releaser([&] {
    log.reset();
    released = true;
  });
  while (log_object.load() != nullptr) Sleep(1);
  Sleep(50);
  const bool too_early = released;
  lock.unlock();
  caller.join();
  releaser.join();
  return too_early ? 1 : 0;
}

TEST(IVelLog, ReleaseWaitsForTheCallsInFlight) {
  const test::ScratchDirectory directory;
  const std::wstring path = directory.File(L"test.swl");
  test::ChildProcess child(L"ReleaseUnderACall", path);
  ASSERT_EQ(child.Wait(), 0u);
  EXPECT_TRUE(LogCapture::Contains(LogCapture::Read(path), 2, L"late"));
}

TEST(IVelLog, ComesAndGoesUnderItsCallers) {
  std::atomic<bool> stop{false};
  std::thread caller([&] {
    while (!stop) VelLog_Print(2, L"any moment");
  });
  for (int i = 0; i < 100; ++i) {
    IVelLog::create(L"VELTEST");
    Sleep(0);
    IVelLog::release();
  }
  stop = true;
  caller.join();
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
    EXPECT_EQ(child.Wait(), kBreakpoint) << threshold;
  }
  const std::vector<LogLine> lines = LogCapture::Read(path);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1].text, L"before");
  EXPECT_EQ(lines[2].text, L"fatal 7");
  EXPECT_EQ(lines[2].level, 5u);
}

DWORD RunFlushThread() {
  const HANDLE thread =
      CreateThread(nullptr, 0, VelLog_FlushThread,
                   reinterpret_cast<void*>(UINT_PTR{0x1234}), 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, 30000), WAIT_OBJECT_0);
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  CloseHandle(thread);
  return code;
}

TEST(VelLog, TheFlushThreadGetsTheLogToTheFile) {
  EXPECT_EQ(RunFlushThread(), 2u);
  const LogCapture log;
  VelLog_Print(2, L"collected");
  EXPECT_EQ(RunFlushThread(), 1u);
  EXPECT_TRUE(LogCapture::Contains(log.LinesOnDisk(), 2, L"collected"));
  EXPECT_TRUE(LogCapture::Contains(log.LinesOnDisk(), 4,
                                   L"VelLog_FlushThread(0x1234)"));
}

}  // namespace
}  // namespace vel
