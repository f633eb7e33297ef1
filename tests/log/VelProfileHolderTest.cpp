#include "log/VelProfileHolder.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"
#include "support/Threads.h"

namespace vel {

class VelProfileHolderPeer {
 public:
  static std::atomic<std::uint32_t>& Lock(VelProfileHolder& holder) {
    return holder._lock;
  }
  static std::int64_t Count(const VelProfileHolder& holder) {
    return holder._count;
  }
};

namespace {

using Peer = VelProfileHolderPeer;
using test::LogCapture;

std::vector<std::wstring> TextsWith(const LogCapture& log,
                                    std::wstring_view text) {
  std::vector<std::wstring> found;
  for (const test::LogLine& line : log.Lines()) {
    if (line.text.find(text) != std::wstring::npos) found.push_back(line.text);
  }
  return found;
}

TEST(VelProfileHolder, LogsItsFirstSampleLoudlyAndLaterOnesQuietly) {
  const LogCapture log(1);
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  VelProfileHolder holder("holder");
  holder.add_sample(0);
  holder.add_sample(5);
  holder.add_sample(3);
  EXPECT_TRUE(log.Contains(4, L"VelProfileHolder('holder'): 1, 0 freq=" +
                                  std::to_wstring(frequency.QuadPart)));
  EXPECT_TRUE(log.Contains(1, L"VelProfileHolder('holder'): 2, 5"));
  EXPECT_TRUE(log.Contains(1, L"VelProfileHolder('holder'): 3, 8"));
}

TEST(VelProfileHolder, CountsMillisecondsUnlessTheLogIsForDebugging) {
  const LogCapture log(2);
  {
    VelProfileHolder holder("holder");
    holder.add_sample(1500);
    holder.add_sample(700);
  }
  EXPECT_EQ(TextsWith(log, L"'holder'"),
            (std::vector<std::wstring>{
                L"VelProfileHolder('holder'): 1, 1500 freq=1000",
                L"VelProfileHolder::LogGlobalStats('holder'): 2, 2200 => 2200 "
                L"ms (max=1500 => 1500 ms)"}));
}

TEST(VelProfileHolder, AllStatsNameEachLivingHolderOnce) {
  const LogCapture log(2);
  std::optional<VelProfileHolder> first("one");
  std::optional<VelProfileHolder> second("two");
  std::optional<VelProfileHolder> third("three");
  VelProfileHolder numbered(0xABCDu);
  second.reset();
  const std::size_t before = log.Lines().size();
  VelLog_LogAllStats();
  const auto lines = log.Lines();
  std::vector<std::wstring> names;
  for (std::size_t i = before; i < lines.size(); ++i) {
    for (const wchar_t* name : {L"'one'", L"'two'", L"'three'", L"'abcd'"}) {
      if (lines[i].text.find(name) != std::wstring::npos) {
        names.emplace_back(name);
      }
    }
  }
  EXPECT_EQ(names, (std::vector<std::wstring>{L"'one'", L"'three'"}));
  numbered.LogGlobalStats();
  EXPECT_TRUE(log.Contains(4, L"LogGlobalStats('abcd'): 0, 0 => 0 ms"));
}

void Measured(bool fail) {
  VEL_PROFILE_SCOPE("measured");
  Sleep(20);
  if (fail) throw std::runtime_error("measured too");
}

TEST(VelProfileScope, MeasuresItsBlockAlsoThroughAnException) {
  const LogCapture log(1);
  Measured(false);
  EXPECT_THROW(Measured(true), std::runtime_error);
  EXPECT_TRUE(log.Contains(4, L"VelProfileHolder('measured'): 1, "));
  EXPECT_TRUE(log.Contains(1, L"VelProfileHolder('measured'): 2, "));
  VelLog_LogAllStats();
  const auto stats = TextsWith(log, L"LogGlobalStats('measured'): 2, ");
  ASSERT_EQ(stats.size(), 1u);
  const std::size_t total = stats[0].find(L"=> ") + 3;
  EXPECT_GE(std::stoi(stats[0].substr(total)), 20);
}

TEST(VelProfileHolder, AddsUpTheSamplesOfManyThreads) {
  VelProfileHolder holder("holder");
  test::RunTogether(6, [&](int) {
    for (int i = 0; i < 1000; ++i) holder.add_sample(1);
  });
  EXPECT_EQ(Peer::Count(holder), 6000);
  EXPECT_EQ(Peer::Lock(holder), 0u);
}

TEST(VelProfileHolder, AnOwnerThatIsGoneOrOneselfDoesntHoldItUp) {
  VelProfileHolder holder("holder");
  test::HoldingThread owner([&] { Peer::Lock(holder) = GetCurrentThreadId(); });
  owner.Kill();
  holder.add_sample(1);
  Peer::Lock(holder) = GetCurrentThreadId();
  holder.add_sample(1);
  EXPECT_EQ(Peer::Count(holder), 2);
}

constexpr UINT kPastTheExitHandlers = 42;

VEL_CHILD_MAIN(UseHoldersPastTheExitHandlers) {
  new LogCapture(2, argument);
  // Registered before the list of holders is made, so it runs after its end.
  std::atexit([] {
    VelLog_Print(4, L"past the list");
    auto* late = new VelProfileHolder("late");
    late->add_sample(1);
    VelLog_LogAllStats();
    VelLog_FlushBuffer();
    TerminateProcess(GetCurrentProcess(), kPastTheExitHandlers);
  });
  once_static([] { return VelProfileHolder("early"); }).add_sample(3);
  std::exit(0);
}

TEST(VelProfileHolder, IsSilentPastTheExitHandlers) {
  const test::ScratchDirectory directory;
  const std::wstring path = directory.File(L"exit.swl");
  test::ChildProcess child(L"UseHoldersPastTheExitHandlers", path);
  ASSERT_EQ(child.Wait(), kPastTheExitHandlers);
  const auto lines = LogCapture::Read(path);
  EXPECT_TRUE(LogCapture::Contains(lines, 4, L"LogGlobalStats('early'): 1, 3"));
  EXPECT_TRUE(LogCapture::Contains(lines, 4, L"past the list"));
  EXPECT_FALSE(LogCapture::Contains(lines, 4, L"LogGlobalStats('late')"));
}

}  // namespace
}  // namespace vel
