#include "foundation/Environment.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "foundation/Paths.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::ScopedVariable;

TEST(EnvOverrides, ComparesNamesInLowerCase) {
  EnvOverrides table;
  table.set(L"CSIDL_\x00c4", L"one");
  EXPECT_EQ(table.find(L"csidl_\x00e4"), L"one");
  table.set(L"csidl_\x00e4", L"two");
  EXPECT_EQ(table.find(L"CSIDL_\x00c4"), L"two");
  table.set(L"CSIDL_\x00c4", L"");
  EXPECT_EQ(table.find(L"csidl_\x00e4"), L"");
}

TEST(Environment, LooksIntoTheTableFirst) {
  const ScopedVariable variable(L"VELTEST_NAME", L"process");
  EXPECT_EQ(get_env(L"VELTEST_NAME"), L"process");
  set_env(L"VelTest_Name", L"table", false);
  EXPECT_EQ(get_env(L"VELTEST_NAME"), L"table");
  EXPECT_EQ(process_env(L"VELTEST_NAME"), L"process");
  set_env(L"VELTEST_NAME", L"", false);
  EXPECT_EQ(get_env(L"VELTEST_NAME"), L"process");
}

TEST(Environment, ReadsValuesOfAnyLength) {
  for (const std::size_t length : {1u, 255u, 256u, 257u, 30000u}) {
    const std::wstring value(length, L'v');
    const ScopedVariable variable(L"VELTEST_LONG", value);
    EXPECT_EQ(get_env(L"VELTEST_LONG"), value) << length;
  }
  EXPECT_EQ(get_env(L"VELTEST_LONG"), L"");
}

TEST(Environment, ComputesWhatAnEmptyEnvironmentLacks) {
  const test::ScratchDirectory scratch;
  const ScopedVariable tmp(L"TMP", scratch.path());
  const ScopedVariable temp(L"TEMP", L"");
  const ScopedVariable app_data(L"APPDATA", L"");
  const ScopedVariable windows(L"windir", L"");
  const ScopedVariable product(L"VELDIR", L"");
  EXPECT_EQ(get_env(L"Temp"), temp_directory());
  EXPECT_EQ(get_env(L"APPDATA"), temp_directory() + L"\\TmpAppData");
  EXPECT_TRUE(test::FileExists(temp_directory() + L"\\TmpAppData"));
  EXPECT_EQ(get_env(L"WinDir"), windows_directory());
  EXPECT_EQ(get_env(L"VELDIR"), install_path());
  EXPECT_EQ(expand_env(L"%TEMP%\\x", true), temp_directory() + L"\\x");
}

TEST(Environment, ExpandsReferences) {
  const ScopedVariable variable(L"VELTEST_A", L"value");
  const struct {
    const wchar_t *text, *strict, *lenient;
  } rows[] = {
      {L"", L"", L""},
      {L"plain", L"plain", L"plain"},
      {L"50%", L"50%", L"50%"},
      {L"a%b", L"a%b", L"a%b"},
      {L"%%", L"%", L"%"},
      {L"1%%2%%3", L"1%2%3", L"1%2%3"},
      {L"%VELTEST_A%", L"value", L"value"},
      {L"x%veltest_a%y%VELTEST_A%z", L"xvalueyvaluez", L"xvalueyvaluez"},
      {L"%VELTEST_NO%\\x", L"", L"%VELTEST_NO%\\x"},
      {L"%VELTEST_NO%%VELTEST_A%", L"", L"%VELTEST_NO%value"},
      {L"%VELTEST_A%%", L"value%", L"value%"},
      // The mark that has no partner is closed at the end of the text.
      {L"%VELTEST_A%+%VELTEST_A", L"value+value", L"value+value"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(expand_env(row.text, true), row.strict)
        << testing::PrintToString(row.text);
    EXPECT_EQ(expand_env(row.text, false), row.lenient)
        << testing::PrintToString(row.text);
  }
}

TEST(Environment, KeepsTheLastError) {
  SetLastError(1234);
  get_env(L"VELTEST_NO");
  expand_env(L"%VELTEST_NO%", true);
  set_env(L"VELTEST_NO", L"", true);
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(Environment, PublishesTheShellsFolders) {
  publish_folder_names();
  EXPECT_EQ(get_env(L"csidl_profile"), without_slash(get_env(L"USERPROFILE")));
  EXPECT_EQ(get_env(L"CSIDL_TEMP"), without_slash(get_env(L"TEMP")));
  const std::wstring app_data = special_folder(26, false);
  EXPECT_NE(app_data, L"");
  EXPECT_EQ(get_env(L"CSIDL_APPDATA"), app_data);
  EXPECT_EQ(process_env(L"CSIDL_APPDATA"), L"");
}

}  // namespace
}  // namespace vel
