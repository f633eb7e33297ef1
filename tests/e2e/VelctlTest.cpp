// velctl over both doors of the tray: what it prints, and its exit codes.

#include "harness/Product.h"

namespace vel::test {
namespace {

class VelctlTest : public ProductTest {
 protected:
  void SetUp() override { UseTestLibrary(); }

  // The exit code, and the lines printed, each ended by '|'.
  std::string Control(const std::wstring& arguments) {
    const std::wstring out = product.File(L"velctl.out");
    ChildProcess shell =
        ChildProcess::Start(L"cmd.exe /c \"\"" + product.File(L"velctl.exe") +
                            L"\" " + arguments + L" >\"" + out + L"\" 2>nul\"");
    std::string text = std::to_string(ExitCodeOf(shell));
    text += ' ';
    for (const char c : product.Read(L"velctl.out")) {
      if (c != '\r') text += c == '\n' ? '|' : c;
    }
    return text;
  }
};

TEST_F(VelctlTest, SendsCommandsByEitherDoor) {
  const std::pair<const wchar_t*, std::string> cases[] = {
      {L"status", "0 running|"},
      {L"13", "0 handled|0|"},
      {L"--block 5 0xD", "0 handled|00 00 00 00 00|"},
      {L"13 text", "1 not handled|"},
      {L"7", "0 handled|"},
      {L"17", "1 not handled|"},
      {L"run a.htm", "0 handled|"},
      {L"run /shex_cfg=Idle", "0 handled|"},
      {L"--block 16777216 13", "64 "},
      {L"status now", "64 "},
      {L"17x", "64 "},
  };
  EXPECT_EQ(Control(L"status"), "3 not running|");
  EXPECT_EQ(Control(L"--door pipe about"), "3 ");
  EXPECT_EQ(Control(L"--door wall status"), "64 ");
  ASSERT_TRUE(StartTray());
  Expect("broadcast VELGUI_INITIALIZED");
  Veto(true);
  for (const auto& [arguments, printed] : cases) {
    EXPECT_EQ(Control(arguments), printed) << arguments;
    EXPECT_EQ(Control(L"--door pipe " + std::wstring(arguments)), printed);
  }
  EXPECT_EQ(Control(L"soft-shutdown 2"), "1 not handled|");
  EXPECT_EQ(Control(L"--door pipe soft-shutdown 2"), "2 refused|");
  Expect("app Normal||a.htm|||", 2);
  Veto(false);
  EXPECT_EQ(Control(L"--door pipe shutdown"), "0 handled|");
  EXPECT_EQ(WaitForTray(), 0u);
}

}  // namespace
}  // namespace vel::test
