#include "browser/MozillaPrefsFile.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <optional>
#include <tuple>
#include <utility>

#include "support/Allocations.h"
#include "support/ScratchDirectory.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

const std::string kHeader = "# Mozilla User Preferences\r\n\r\n";

std::string line(const std::string& name, const std::string& text) {
  return "user_pref(\"" + name + "\", " + text + ");\r\n";
}

// The file's bytes after it was opened, changed and closed.
template <class Change>
std::string rewritten(const std::string& bytes, Change change) {
  const test::ScratchDirectory scratch;
  {
    MozillaPrefsFile prefs(scratch.Write(L"prefs.js", bytes));
    change(prefs);
  }
  return scratch.Read(L"prefs.js");
}

TEST(MozillaPrefsFile, RewritesFilesWithPreferencesOnly) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"// only a remark\n#x\n", "// only a remark\n#x\n"},
      {"# x\nuser_pref(\"a.b\", -1);\nuser_pref(\"a\", \"x\\\"\n\\\\\xff\");\n"
       "pref(\"c\", 1);user_pref(\"B\", true);user_pref(\"a.b\", 0017)",
       kHeader + line("B", "true") + line("a", "\"x\\\"\n\\\\\xff\"") +
           line("a.b", "17")},
      {line("a", "-12345678901"), kHeader + line("a", "2147483647")}};
  const auto nothing = [](MozillaPrefsFile&) {};
  for (const auto& [before, after] : rows) {
    EXPECT_EQ(rewritten(before, nothing), after);
    EXPECT_EQ(rewritten(after, nothing), after);
  }
}

TEST(MozillaPrefsFile, GettersTakeTheirOwnKind) {
  const test::ScratchDirectory scratch;
  MozillaPrefsFile prefs(scratch.File(L"prefs.js"));
  prefs.set_int("int", 5'000'000'000);
  prefs.set_int("negative", -5);
  prefs.set_bool("bool", true);
  prefs.set_string("string", "true");
  prefs.set_string("5", "5");
  // The text, and whether it is taken as a number, a flag and a string.
  const std::tuple<const char*, std::string, bool, bool, bool> rows[] = {
      {"int", "5000000000", true, false, false},
      {"negative", "-5", false, false, false},
      {"bool", "true", false, true, false},
      {"string", "\"true\"", false, false, true},
      {"5", "\"5\"", false, false, true},
      {"absent", "old", false, false, false}};
  for (const auto& [name, expected, is_int, is_bool, is_string] : rows) {
    std::string text = "old", string = "old";
    std::int64_t number = 1;
    bool flag = false;
    EXPECT_EQ(prefs.get_text(name, text), expected != "old");
    EXPECT_EQ(text, expected);
    EXPECT_EQ(prefs.get_int(name, number), is_int) << name;
    EXPECT_EQ(number, is_int ? 5'000'000'000 : 1);
    EXPECT_TRUE(prefs.get_bool(name, flag) == is_bool && flag == is_bool);
    EXPECT_EQ(prefs.get_string(name, string), is_string) << name;
    EXPECT_EQ('"' + string + '"', is_string ? expected : "\"old\"");
  }
}

TEST(MozillaPrefsFile, KeepsTheOldValueUnderASecondName) {
  const std::string after = rewritten("", [](MozillaPrefsFile& prefs) {
    prefs.set_int("n", 5);
    prefs.set_string("s", "x");
    prefs.copy_if_differs("n", "n5", "5");
    prefs.copy_if_differs("n", "s", "other");
    prefs.copy_if_differs("s", "same", "x");
    prefs.copy_if_differs("s", "s2", "y");
    prefs.copy_if_differs("absent", "absent2", "y");
    prefs.set_string("s", "later");
  });
  EXPECT_EQ(after, kHeader + line("n", "5") + line("n5", "5") +
                       line("s", "\"later\"") + line("s2", "\"x\""));
}

TEST(MozillaPrefsFile, FindsByPartAndByWildcard) {
  using Texts = std::map<std::string, std::string>;
  Texts all, some{{"old", "1"}};
  rewritten("", [&](MozillaPrefsFile& prefs) {
    prefs.set_bool("a.update.x", true);
    prefs.set_string("update", "7");
    prefs.set_bool("UPDATE", false);
    prefs.set_int_where_name_contains("update", 7);
    prefs.collect_matching("", all);
    prefs.collect_matching("?PD*", some);
  });
  EXPECT_EQ(all,
            (Texts{{"UPDATE", "false"}, {"a.update.x", "7"}, {"update", "7"}}));
  EXPECT_EQ(some, (Texts{{"UPDATE", "false"}, {"old", "1"}, {"update", "7"}}));
}

TEST(MozillaPrefsFile, EscapesSoThatAnyTextSurvivesAFile) {
  std::string text;
  for (int byte = 1; byte < 256; ++byte) text += static_cast<char>(byte);
  text += "\\n\"\r\n\\\\";
  const std::string raw = escape_pref_string(text);
  const std::string after = rewritten(
      "user_pref(\"a\", \"" + raw + "\");", [&](MozillaPrefsFile& prefs) {
        std::string found;
        EXPECT_TRUE(prefs.get_string("a", found));
        EXPECT_EQ(unescape_pref_string(found), text);
      });
  EXPECT_EQ(after, kHeader + line("a", '"' + raw + '"'));
  EXPECT_EQ(escape_pref_string("\n\r\"\\"), "\\n\\r\\\"\\\\");
  EXPECT_EQ(unescape_pref_string("\\a\\\\n\\"), "a\\n\\");
}

TEST(MozillaPrefsFile, NeverReplacesAFileThatMemoryCouldNotHold) {
  const std::string before =
      line("a", "\"" + std::string(40, 'x') + "\"") + line("b", "2");
  const std::string after = kHeader + before + line("c", "3");
  std::size_t passed = 0;
  for (bool ran_out = true; ran_out && passed < 1000; ++passed) {
    const test::ScratchDirectory scratch;
    std::wstring path = scratch.Write(L"prefs.js", before);
    {
      std::optional<test::MemoryRunsOut> memory(std::in_place, passed);
      MozillaPrefsFile prefs(std::move(path));
      ran_out = memory->happened();
      memory.reset();
      prefs.set_int("c", 3);
    }
    EXPECT_EQ(scratch.Read(L"prefs.js"), ran_out ? before : after) << passed;
  }
  EXPECT_GT(passed, 5u);
}

TEST(MozillaPrefsFile, LeavesFilesThatItCannotWrite) {
  const test::ScratchDirectory scratch;
  const std::string text = "user_pref(\"a\", 1);";
  const std::wstring path = scratch.Write(L"prefs.js", text);
  ScopedFileHandle held(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
  MozillaPrefsFile(path).set_int("a", 2);
  held.reset();
  EXPECT_EQ(scratch.Read(L"prefs.js"), text);
  MozillaPrefsFile(scratch.File(L"missing\\prefs.js")).set_int("a", 2);
  EXPECT_FALSE(test::FileExists(scratch.File(L"missing")));
}

}  // namespace
}  // namespace vel
