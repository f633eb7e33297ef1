// The real ptpdump.exe: files made, shown and checked.
#include "tools/ToolTest.h"

namespace vel::test {
namespace {

class PtpdumpTest : public ToolTest {
 protected:
  PtpdumpTest() : ToolTest(L"ptpdump.exe") {}

  Result Make(const std::string& json) {
    return Run(L"--make " + Write(L"in.json", json) + L" " + _path);
  }
  // Fails, and says `problem` of what it is given.
  void Fails(const Result& result, const std::string& problem) {
    EXPECT_EQ(result.code, 1u);
    EXPECT_NE(result.problems.find(problem), std::string::npos)
        << problem << " in " << result.problems;
  }

  const std::wstring _path = L"\"" + _scratch.File(L"tree.ptp") + L"\"";
};

const std::string kJson =
    R"({"name":"","attributes":{},"children":[{"name":"root","attributes":)"
    R"({"":"\u000a\"","n":-9223372036854775808,)"
    "\"\xC3\xA4\":\"\xE4\xB8\xAD\\ud83d\"},"
    R"("children":[{"name":"root","attributes":{"n":128},"children":[]}]}]})"
    "\n";

TEST_F(PtpdumpTest, MakesFilesAndShowsThem) {
  EXPECT_EQ(Make(kJson).code, 0u);
  EXPECT_EQ(Run(L"--json " + _path).out, kJson);
  EXPECT_EQ(Run(_path).out,
            "\"\"\n  \"root\"\n      \"\" = \"\\u000a\\\"\"\n"
            "      \"n\" = -9223372036854775808\n"
            "      \"\xC3\xA4\" = \"\xE4\xB8\xAD\\ud83d\"\n"
            "    \"root\"\n        \"n\" = 128\n");
  const Result check = Run(L"--check " + _path);
  EXPECT_EQ(check.code, 0u);
  EXPECT_EQ(check.out + check.problems, "");
  // Missing members are empty ones, and order and blanks don't matter.
  EXPECT_EQ(
      Make("\t{ \"children\" : [ {} , { \"name\":\"x\\/\" } ] }\r\n").code, 0u);
  EXPECT_EQ(Run(_path).out, "\"\"\n  \"\"\n  \"x/\"\n");
}

TEST_F(PtpdumpTest, NamesTheFirstFaultOfAFile) {
  EXPECT_EQ(Make(kJson).code, 0u);
  std::string bytes = _scratch.Read(L"tree.ptp");
  Fails(Run(L"--check " + Write(L"x", bytes.substr(0, bytes.size() - 5))),
        "offset " + std::to_string(bytes.size() - 9) + ": Lead-out failed");
  // The table has three entries; 3 is an index right behind it.
  const std::size_t index = bytes.find("\xF3\1");
  ASSERT_NE(index, std::string::npos);
  bytes[index + 1] = 3;
  Fails(Run(Write(L"x", bytes)), "offset " + std::to_string(index + 1));
  Fails(Run(L"C:\\none.ptp"), "can't be opened");
}

TEST_F(PtpdumpTest, ShowsWhatComesBeforeAFaultInsideAChildToo) {
  Make(R"({"children":[{"name":"root","children":[)"
       R"({"name":"one","attributes":{"a":300,"b":"text"}},)"
       R"({"name":"two","attributes":{"c":300,"d":"other"}}]}]})");
  const std::string bytes = _scratch.Read(L"tree.ptp");
  const std::size_t text = bytes.find("other");
  const std::string one =
      "\"\"\n  \"root\"\n    \"one\"\n        \"a\" = 300\n"
      "        \"b\" = \"text\"\n";
  const std::pair<std::size_t, std::string> rows[] = {
      {text + 3, one + "    \"two\"\n        \"c\" = 300\n"
                       "        \"d\" = \"oth\"\n"},
      {text - 24, one + "    \"two\"\n"},
      {bytes.find("two") - 4, one},
      {bytes.find("two") - 5, one}};
  for (const auto& [length, shown] : rows) {
    const std::wstring cut = Write(L"cut.ptp", bytes.substr(0, length));
    const Result result = Run(cut);
    EXPECT_EQ(result.code, 1u);
    EXPECT_EQ(result.out, shown) << length;
    EXPECT_LT(Run(L"--json " + cut).out.size(), 500u) << length;
  }
  for (std::size_t length = 0; length < bytes.size(); length += 40) {
    const Result cut = Run(L"--check " + Write(L"x", bytes.substr(0, length)));
    Fails(cut, "offset ");
    const std::size_t at = cut.problems.find("offset ");
    EXPECT_LE(std::stoull(cut.problems.substr(at + 7)), length);
  }
}

TEST_F(PtpdumpTest, TakesTreesOfAnyDepthInProportion) {
  // The bytes that the tree's two forms have.
  const auto sizes = [this](std::size_t depth) {
    std::string json;
    for (std::size_t i = 1; i < depth; ++i) {
      json += R"({"name":"","attributes":{},"children":[)";
    }
    json += R"({"name":"","attributes":{"n":1},"children":[)";
    for (std::size_t i = 0; i < depth; ++i) json += "]}";
    json += '\n';
    EXPECT_EQ(Make(json).code, 0u);
    EXPECT_EQ(Run(L"--check " + _path).code, 0u);
    EXPECT_TRUE(Run(L"--json " + _path).out == json);
    return Run(_path).out.size();
  };
  const std::size_t text = sizes(5000);
  EXPECT_LT(sizes(10000), 2 * text + 30000);
}

TEST_F(PtpdumpTest, NoticesAnOutputThatCannotBeWritten) {
  EXPECT_EQ(Make(kJson).code, 0u);
  _output_access = GENERIC_READ;
  for (const std::wstring& arguments :
       {_path, L"--json " + _path, std::wstring(L"--help")}) {
    EXPECT_EQ(Run(arguments).code, 1u) << arguments;
  }
}

TEST_F(PtpdumpTest, RefusesOtherJson) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "offset 0"},
      {"{} x", "offset 3"},
      {R"({"other":""})", "offset 9"},
      {R"({"attributes":{"a":1.5}})", "offset 19"},
      {R"({"attributes":{"a":9223372036854775808}})", "offset 19"},
      {R"({"children":[{})", "offset 15"},
      {R"({"name":"\q"})", "offset 11"},
      {R"({"name":"\u12"})", "offset 11"},
      {R"({"name":")", "offset 9"}};
  for (const auto& [json, place] : rows) Fails(Make(json), place);
  EXPECT_FALSE(FileExists(_scratch.File(L"tree.ptp")));
  EXPECT_EQ(Run(L"--make C:\\none.json " + _path).code, 1u);
  EXPECT_EQ(Run(L"--what").code, 2u);
}

}  // namespace
}  // namespace vel::test
