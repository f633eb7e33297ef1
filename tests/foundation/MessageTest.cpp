#include "foundation/Message.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "foundation/NotBuilt.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

TEST(Message, MarksKernelPaths) {
  EXPECT_EQ(message_text(L"\\??\\C:\\x"), L"path: \\??\\C:\\x");
  EXPECT_EQ(message_text(L"text \\??\\"), L"text \\??\\");
}

// Closes the message box of this process and gives the text in it.
std::wstring close_message_box() {
  for (;; Sleep(10)) {
    const HWND box = FindWindowW(nullptr, kMessageCaption);
    if (box == nullptr || !IsWindowVisible(box)) continue;
    constexpr int kTextItem = 0xffff;
    wchar_t text[256] = {};
    GetDlgItemTextW(box, kTextItem, text, 256);
    PostMessageW(box, WM_CLOSE, 0, 0);
    return text;
  }
}

TEST(Message, ShowsABoxWithTheArgumentsPutIn) {
  std::wstring shown;
  std::thread closer([&shown] { shown = close_message_box(); });
  show_message("%s and %S, %u", L"wide", "narrow", 5u);
  closer.join();
  EXPECT_EQ(shown, L"wide and narrow, 5");
}

TEST(Message, RegistersItsMessageOnce) {
  const test::LogCapture log;
  const UINT message = GetDummyMsg();
  EXPECT_EQ(message, RegisterWindowMessageW(L"Brindlemar_DummyWindowsMsg"));
  EXPECT_TRUE(log.Contains(4, L"RegisterDummyMsg: 0x"));
  const std::size_t lines = log.Lines().size();
  EXPECT_EQ(GetDummyMsg(), message);
  EXPECT_EQ(log.Lines().size(), lines);
}

TEST(NotBuilt, ReportsAndSetsTheError) {
  const test::LogCapture log;
  SetLastError(0);
  report_not_built("SomeOperation");
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CALL_NOT_IMPLEMENTED));
  EXPECT_TRUE(log.Contains(2, L"SomeOperation: not built yet"));
}

}  // namespace
}  // namespace vel
