#include "log/VelProfileHolder.h"

#include <gtest/gtest.h>

#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

using test::LogCapture;

TEST(VelProfileHolder, AllStatsNameEachLivingHolderOnceInMilliseconds) {
  const LogCapture log(2);
  std::optional<VelProfileHolder> first("T:one");
  std::optional<VelProfileHolder> second("T:two");
  std::optional<VelProfileHolder> third("T:three");
  const VelProfileHolder silent(0xABCDu);
  third->add_sample(1500);
  third->add_sample(700);
  second.reset();
  VelLog_LogAllStats();
  const std::wstring stats = L"VelProfileHolder::LogGlobalStats('T:";
  std::vector<std::wstring> found;
  for (const test::LogLine& line : log.Lines()) {
    const bool numbered = line.text.find(L"'abcd'") != std::wstring::npos;
    if (numbered || line.text.find(L"'T:") != std::wstring::npos) {
      found.push_back(line.text);
    }
  }
  EXPECT_EQ(found,
            (std::vector<std::wstring>{
                L"VelProfileHolder('T:three'): 1, 1500 freq=1000",
                stats + L"two'): 0, 0 => 0 ms (max=0 => 0 ms)",
                stats + L"one'): 0, 0 => 0 ms (max=0 => 0 ms)",
                stats + L"three'): 2, 2200 => 2200 ms (max=1500 => 1500 ms)"}));
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

}  // namespace
}  // namespace vel
