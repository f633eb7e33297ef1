#include "browser/PrefsScanner.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <random>

#include "browser/RuleTable.h"
#include "support/Soak.h"

namespace vel {
namespace {

using namespace std::string_literals;

// As old and new versions write them, and as users edit them.
const std::string kFiles[] = {
    "# Mozilla User Preferences\n\n/* Written by the browser.\n * user_pref(\n"
    " **/\n\nuser_pref(\"accessibility.typeaheadfind.flashBar\", 0);\n"
    "user_pref(\"app.update.lastUpdateTime.search\", 1283425522);\n"
    "user_pref(\"browser.download.dir\", \"C:\\\\Users\\\\J\xfcrgen\\\\\");\n"
    "user_pref(\"browser.startup.homepage\", \"http://a.test/#x|b.test\");\n"
    "user_pref(\"print.printer_Fax.print_margin_top\", \"0.5\");\n",
    "// Mozilla User Preferences\r\n\r\n// It's the browser's; don't \"edit\"."
    "\r\nuser_pref(\"app.normandy.user_id\", \"93b8-af02\");\r\n"
    "user_pref(\"browser.pageActions.ids\", \"{\\\"v\\\":1,\\\"a\\\":[],\\\"b"
    "\\\":\\\"(x);\\\"}\");\r\nuser_pref(\"browser.uitour\", false);\r\n"
    "user_pref(\"layout.offset\", -12);\r\nuser_pref(\"on\", true);\r\n",
    "/* mine */ user_pref(\"a\",\t1) ; #user_pref(\"b\", 2);\nlock_pref(\"c\", "
    "3); // user_pref(\"d\", 4);\nuser_pref( \"e\", 5);\nuser_pref(\"f\", 6)\n"
    "user_pref(\"g\", 7);\nuser_pref(\"h\\\"i\", x1.5);user_pref(\"j\", \"two\n"
    "lines\\\n\"); user_pref(\"k\", \"open"};

std::string scanned(const std::string& text) {
  test::Recorder recorder;
  scan_prefs(text, recorder);
  return recorder.text;
}

std::string by_rules(const std::string& text) {
  test::Recorder recorder;
  test::RuleTable(recorder).run(text);
  return recorder.text;
}

#define EXPECT_SAME(text) \
  ASSERT_EQ(scanned(text), by_rules(text)) << testing::PrintToString(text)

TEST(PrefsScanner, TakesWhatTheRulesTake) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {R"(// user_pref("a", 1);)", "a=1;"},
      {R"(pref("a", 1); lock_user_pref("b", 2); x#" user_pref("c", 3);)",
       "b=2;"},
      {R"(/*/ user_pref("a", 1); **/user_pref("b", 2);)", "b=2;"},
      {"user_pref(\"a\", -5);user_pref(\"b\",\n x1.5);", "a=5;b=1;"},
      {R"(user_pref("a", 2147483647);user_pref("b", 2147483648);)"
       R"(user_pref("c", -99999999999999999999))",
       "a=2147483647;b=2147483647;c=2147483647;"},
      {R"(user_pref("a", truex);user_pref("b", ttrue);)", "a=true;b=true;"},
      {"user_pref(\"a\", 1)\nuser_pref(\"b\", 2);user_pref(\"c\", 3) \t;"
       "user_pref(\"d\", 4);",
       "a=1;c=3;d=4;"},
      {R"(user_pref("a\"b", 1);user_pref("", 2);)", "b=1;b=2;"},
      {R"(user_pref("a", "x\"y\\z");)", R"(a="x\"y\\z";)"},
      {"user_pref(\"a\", \"x\r\ny\\\n\");", "a=\"x\r\ny\\\n\";"},
      {R"(user_pref( "a", 1);user_pref("b" , 2);)", ""},
      {R"(user_pref("a", 1);user_pref("a", "1");)", R"(a=1;a="1";)"},
      {"user_pref(\"a\0b\", \"c\\\0\"d\""s, R"(a="c\";)"},
      {"\0user_pref(\"\0a\",\0007"s, "=7;"},
      {R"(user_pref("a", "x\")", ""}};
  for (const auto& [text, calls] : rows) {
    EXPECT_EQ(scanned(text), calls) << text;
    EXPECT_SAME(text);
  }
}

TEST(PrefsScanner, TakesRealFilesCutAnywhere) {
  EXPECT_NE(scanned(kFiles[0]).find("J\xfcrgen\\\\\";"), std::string::npos);
  EXPECT_NE(scanned(kFiles[1]).find("\\\"(x);\\\"}\";"), std::string::npos);
  EXPECT_EQ(scanned(kFiles[2]), "a=1;d=4;f=6;i=1;j=\"two\nlines\\\n\";");
  for (const std::string& file : kFiles) {
    for (std::size_t cut = 0; cut <= file.size(); ++cut) {
      EXPECT_SAME(file.substr(0, cut));
      EXPECT_SAME(file.substr(cut));
      EXPECT_SAME(file.substr(0, cut) + "\0"s + file.substr(cut));
    }
  }
}

class Inputs {
 public:
  std::string next() {
    std::string text;
    if (below(2) == 0) {
      const std::string& file = kFiles[below(std::size(kFiles))];
      text = file.substr(below(file.size()), below(200));
    } else {
      text = "user_pref(\"";
    }
    for (std::size_t edits = below(16) + 1; edits > 0; --edits) {
      const std::size_t at = below(text.size() + 1);
      text.replace(at, below(3) == 0 ? below(6) : 0, piece());
      if (below(4) == 0) text += piece();
    }
    return text;
  }

 private:
  std::string piece() {
    // Parted by bars, with @ for a NUL byte.
    static const std::string kPieces =
        "user_pref(\"|user_pref(|u|\", |\",\t|\"|\\|\\\\|\\\"|\n|\r\n|)|;|);|) "
        "\t;| |true|false|tru|0|17|99999999999|-|.|#|/*|*/|*|/|,|a|b.c|\xff|@";
    const std::size_t begin = kPieces.rfind('|', below(kPieces.size())) + 1;
    const std::string found =
        kPieces.substr(begin, kPieces.find('|', begin) - begin);
    return found == "@" ? "\0"s : found;
  }
  std::size_t below(std::size_t limit) { return _random() % limit; }

  // Other inputs in each pass.
  static inline unsigned seed = 20;
  std::mt19937 _random{seed++};
};

TEST(PrefsScanner, TakesGeneratedAndMutatedInputsAsTheRulesDo) {
  const int count = test::ShareOfSoak(50'000, 1'000'000);
  Inputs inputs;
  int with_calls = 0;
  for (int i = 0; i < count; ++i) {
    const std::string text = inputs.next();
    EXPECT_SAME(text);
    with_calls += !scanned(text).empty();
  }
  EXPECT_GT(with_calls, count / 8) << "most inputs reach no value";
}

}  // namespace
}  // namespace vel
