#include "process/StartupTrim.h"

#include <gtest/gtest.h>

namespace vel {
namespace {

MSG TimerMessage(UINT_PTR id) {
  MSG message = {};
  message.message = WM_TIMER;
  message.wParam = id;
  return message;
}

TEST(StartupTrimTest, GoesOffOnceAndPassesOtherMessagesOver) {
  StartupTrim trim(1);
  EXPECT_TRUE(trim.armed());
  EXPECT_FALSE(trim.OnMessage(MSG{}));
  MSG message;
  ASSERT_GT(GetMessageW(&message, nullptr, WM_TIMER, WM_TIMER), 0);
  EXPECT_FALSE(trim.OnMessage(TimerMessage(message.wParam + 1)));
  EXPECT_TRUE(trim.armed());
  EXPECT_TRUE(trim.OnMessage(message));
  EXPECT_FALSE(trim.armed());
  EXPECT_FALSE(trim.OnMessage(message)) << "one that was still in the queue";
}

// An id of 0 is that of a timer which could not be made.
TEST(StartupTrimTest, ADisarmedOneTakesNoTimerForItsOwn) {
  StartupTrim trim(1);
  MSG message;
  ASSERT_GT(GetMessageW(&message, nullptr, WM_TIMER, WM_TIMER), 0);
  trim.OnMessage(message);
  EXPECT_FALSE(trim.OnMessage(TimerMessage(0)));
}

}  // namespace
}  // namespace vel
