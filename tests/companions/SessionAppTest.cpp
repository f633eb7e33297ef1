// What start_app makes of a shell-execute. The programs that it starts are
// this one, as a child that reports its command line.
#include <gtest/gtest.h>

#include "companions/SessionFixture.h"
#include "session/CommandTemplate.h"

namespace vel::test {

VEL_CHILD_MAIN(ReportsCommandLine) {
  WriteReport(argument, {GetCommandLineW()});
  return 0;
}

namespace {

void SetText(HKEY hive, const std::wstring& key, const std::wstring& text) {
  RegSetKeyValueW(hive, key.c_str(), nullptr, REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof text[0]));
}

class SessionAppTest : public SessionFixture {
 protected:
  void SetUp() override { Start(); }

  std::uint32_t Run(const std::wstring& verb, const std::wstring& file) {
    return _session->start_app(verb.c_str(), file.c_str(), L"", L"", L"");
  }
};

TEST_F(SessionAppTest, WhatCannotBeStartedIsToldByItsError) {
  const std::wstring text = _scratch.Write(L"a.veltestnone", "x");
  const struct {
    const wchar_t* verb;
    std::wstring file;
    DWORD error;
  } cases[] = {
      {L"open", L"", ERROR_FILE_NOT_FOUND},
      {L"open", L"C:\\no such\\file.txt", ERROR_FILE_NOT_FOUND},
      {L"open", L"no such program", ERROR_FILE_NOT_FOUND},
      {L"open", text, ERROR_NO_ASSOCIATION},
      {L"open", L"veltestnone://x", ERROR_NO_ASSOCIATION},
      {L"nosuchverb", TestProgramPath(), ERROR_NO_ASSOCIATION},
      {L"runas", TestProgramPath(), ERROR_NOT_SUPPORTED},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(Run(each.verb, each.file), each.error)
        << std::string(each.file.begin(), each.file.end());
  }
  Stop();
  EXPECT_EQ(Run(L"open", TestProgramPath()), ERROR_NOT_READY);
}

// As when the product is the user's browser: passing the URL to it would bring
// the same URL back for ever.
TEST_F(SessionAppTest, AUrlOfTheProductItselfGoesToAnotherBrowser) {
  constexpr wchar_t kUser[] = L"Software\\Tessavane\\VELTest\\Browsers";
  constexpr wchar_t kScheme[] = L"Software\\Classes\\veltest";
  const std::wstring clients = L"Software\\Clients\\StartMenuInternet";
  const std::wstring command = L"\\shell\\open\\command";
  const std::wstring product = _scratch.path() + L"\\product";
  // Not every system shows the user's classes among all classes.
  const HKEY hives[] = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};
  for (const HKEY hive : hives) {
    SetText(hive, kScheme + command,
            L"\"" + product + L"\\Brindlemar.exe\" \"%1\"");
  }
  HKEY user = nullptr;
  RegCreateKeyW(HKEY_CURRENT_USER, kUser, &user);
  SetText(user, clients, L"VelTest");
  SetText(user, clients + L"\\VelTest" + command,
          L"\"" + TestProgramPath() + L"\" --vel-child ReportsCommandLine \"" +
              NewReport() + L"\"");
  SetEnvironmentVariableW(L"VELDIR", product.c_str());
  RegOverridePredefKey(HKEY_CURRENT_USER, user);
  EXPECT_EQ(Run(L"open", L"veltest://host/a%20b?c=d"), ERROR_SUCCESS);
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  SetEnvironmentVariableW(L"VELDIR", nullptr);
  RegCloseKey(user);
  RegDeleteTreeW(HKEY_CURRENT_USER, kUser);
  for (const HKEY hive : hives) RegDeleteTreeW(hive, kScheme);
  EXPECT_TRUE(ReadReport().at(1).ends_with(L"\" \"veltest://host/a%20b?c=d\""));
}

TEST(CommandTemplate, PlacesAreFilledInOnce) {
  const struct {
    const wchar_t* command_template;
    const wchar_t* result;
  } cases[] = {
      {L"p.exe \"%L\" %*", L"p.exe \"C:\\a %1.txt\" -x \"y\""},
      {L"p.exe %v /w %W", L"p.exe C:\\a %1.txt /w C:\\d"},
      {L"p.exe -n 100%% %1", L"p.exe -n 100% C:\\a %1.txt"},
      {L"p.exe %1 [%2] [%i] [%S]", L"p.exe C:\\a %1.txt [] [] []"},
      {L"C:\\%x%\\p.exe %1", L"C:\\%x%\\p.exe C:\\a %1.txt"},
      {L"p.exe %", L"p.exe % \"C:\\a %1.txt\""},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(
        velul::fill_command_template(each.command_template,
                                     {L"C:\\a %1.txt", L"-x \"y\"", L"C:\\d"}),
        each.result);
  }
}

}  // namespace
}  // namespace vel::test
