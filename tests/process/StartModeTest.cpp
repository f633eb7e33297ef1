#include "process/StartMode.h"

#include <gtest/gtest.h>

namespace vel {
namespace {

TEST(StartModeTest, RelaunchTextLosesEveryRequestForARelaunch) {
  constexpr struct {
    const wchar_t* before;
    const wchar_t* after;
  } kCases[] = {
      {L"", L""},
      {L"/start_mode=\"after_install\"", L""},
      {L"\"C:\\p.exe\" /start_mode=\"after_install\" /guest",
       L"\"C:\\p.exe\"  /guest"},
      {L"/start_mode=\"after_install\"/start_mode=\"after_install\" x", L" x"},
      // Only the exact text counts.
      {L"/start_mode= \"after_install\"", L"/start_mode= \"after_install\""},
      {L"/start_mode=\"auto\"", L"/start_mode=\"auto\""},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(without_after_install(row.before), row.after);
  }
}

// What comes to stand there by a removal isn't looked at again: the text must
// end, and the service gets what it was given.
TEST(StartModeTest, RelaunchTextIsCleanedInOnePass) {
  EXPECT_EQ(without_after_install(L"/start_mode=\"after/start_mode=\"after_"
                                  L"install\"_install\""),
            L"/start_mode=\"after_install\"");
}

}  // namespace
}  // namespace vel
