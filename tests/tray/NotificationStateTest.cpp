#include "TrayFixture.h"

namespace vel {
namespace {

using test::Product;

class NotificationStateTest : public test::TrayFixture {
 protected:
  NotificationStateTest() {
    Start();
    tray().process_runcmd(L"");
    EXPECT_TRUE(WaitForTip(L"Test Product"));
  }
};

TEST_F(NotificationStateTest, ListsTheHintsInTheOrderOfThePlugIns) {
  IVelPluginHost* const a = Product().hosts[0];
  IVelPluginHost* const b = Product().hosts[1];
  struct Row {
    IVelPluginHost* host;
    const wchar_t* hint;
    const wchar_t* tip;
  };
  const Row rows[] = {{b, L"two", L"Test Product\r\ntwo"},
                      {a, L"one", L"Test Product\r\none\r\ntwo"},
                      {b, L"2", L"Test Product\r\none\r\n2"},
                      {a, L"", L"Test Product\r\n2"},
                      {a, L"1", L"Test Product\r\n1\r\n2"},
                      {b, nullptr, L"Test Product\r\n1"},
                      {b, nullptr, L"Test Product\r\n1"},
                      {a, nullptr, L"Test Product"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.tip);
    _shell.Clear();
    row.host->set_notify_hint(row.hint);
    EXPECT_TRUE(WaitForTip(row.tip));
  }
}

TEST_F(NotificationStateTest, ShowsTheIconOfTheLastPlugIn) {
  const auto icon_a = reinterpret_cast<HICON>(std::uintptr_t{0xA0});
  const auto icon_b = reinterpret_cast<HICON>(std::uintptr_t{0xB0});
  const HICON own = Shown().hIcon;
  IVelPluginHost* const a = Product().hosts[0];
  IVelPluginHost* const b = Product().hosts[1];
  b->set_notify_icon(icon_b);
  EXPECT_TRUE(WaitForIcon(icon_b));
  a->set_notify_icon(icon_a);
  b->set_notify_icon(nullptr);
  EXPECT_TRUE(WaitForIcon(icon_a));
  a->set_notify_icon(nullptr);
  EXPECT_TRUE(WaitForIcon(own));
}

TEST_F(NotificationStateTest, SendsTheTipAnewForTheReservedId) {
  _shell.Clear();
  tray().set_notify_hint(0xFFFFFFFF, L"not shown");
  EXPECT_TRUE(WaitForTip(L"Test Product"));
}

}  // namespace
}  // namespace vel
