#include "log/VelProfileHolder.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

using test::LogCapture;

std::vector<std::wstring> TextsWith(const LogCapture& log,
                                    std::wstring_view text) {
  std::vector<std::wstring> found;
  for (const test::LogLine& line : log.Lines()) {
    if (line.text.find(text) != std::wstring::npos) found.push_back(line.text);
  }
  return found;
}

TEST(VelProfileHolder, AllStatsNameEachLivingHolderOnceInMilliseconds) {
  const LogCapture log(2);
  std::optional<VelProfileHolder> first("T:one");
  std::optional<VelProfileHolder> second("T:two");
  std::optional<VelProfileHolder> third("T:three");
  const VelProfileHolder numbered(0xABCDu);
  third->add_sample(1500);
  third->add_sample(700);
  second.reset();
  VelLog_LogAllStats();
  const std::wstring stats = L"VelProfileHolder::LogGlobalStats('T:";
  EXPECT_EQ(TextsWith(log, L"'T:"),
            (std::vector<std::wstring>{
                L"VelProfileHolder('T:three'): 1, 1500 freq=1000",
                stats + L"two'): 0, 0 => 0 ms (max=0 => 0 ms)",
                stats + L"one'): 0, 0 => 0 ms (max=0 => 0 ms)",
                stats + L"three'): 2, 2200 => 2200 ms (max=1500 => 1500 ms)"}));
  EXPECT_TRUE(TextsWith(log, L"'abcd'").empty());
}

// Ended in add_sample(), and never gone, for somebody keeps a handle on it.
VEL_CHILD_MAIN(FlushBesideAnEndedThread) {
  const LogCapture log(1);
  static VelProfileHolder holder("T:held");
  LogCapture::Lock().lock();
  const HANDLE thread = CreateThread(
      nullptr, 0,
      [](void*) {
        holder.add_sample(1);
        return DWORD{0};
      },
      nullptr, 0, nullptr);
  Sleep(1000);
  TerminateThread(thread, 0);
  LogCapture::Lock().unlock();
  const HANDLE flush =
      CreateThread(nullptr, 0, VelLog_FlushThread, nullptr, 0, nullptr);
  WaitForSingleObject(flush, 5000);
  DWORD code = 0;
  GetExitCodeThread(flush, &code);
  // The log's own end would wait for the thread's call.
  TerminateProcess(GetCurrentProcess(), code);
  return 0;
}

TEST(VelLogFlushThread, ComesBackBesideAThreadEndedInASample) {
  EXPECT_EQ(test::ChildProcess(L"FlushBesideAnEndedThread").Wait(), 1u);
}

void Measured(bool fail) {
  VEL_PROFILE_SCOPE("measured");
  Sleep(20);
  if (fail) throw std::runtime_error("measured too");
}

TEST(VelProfileScope, MeasuresItsBlockAlsoThroughAnException) {
  static int times = 0;  // also in the passes of a soak
  times += 2;
  const LogCapture log(1);
  Measured(false);
  EXPECT_THROW(Measured(true), std::runtime_error);
  VelLog_LogAllStats();
  const auto stats = TextsWith(
      log, L"LogGlobalStats('measured'): " + std::to_wstring(times) + L", ");
  ASSERT_EQ(stats.size(), 1u);
  EXPECT_GE(std::stoi(stats[0].substr(stats[0].find(L"=> ") + 3)), 20);
}

}  // namespace
}  // namespace vel
