#include <gtest/gtest.h>
#include <windows.h>

#include "support/ChildProcess.h"
#include "support/Watchdog.h"

namespace {

constexpr unsigned kSecondsForOneTest = 120;

class FeedPerTest : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    vel::test::FeedWatchdog();
  }
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // A trap has to end the process, not to wait in a dialog box.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  if (const auto code = vel::test::RunAsChild(argc, argv)) return *code;
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new FeedPerTest);
  vel::test::StartWatchdog(kSecondsForOneTest);
  return RUN_ALL_TESTS();
}
