// The real swlcat.exe on files of the tests' own and of the product's log.
#include <filesystem>
#include <fstream>

#include "log/VelLog.h"
#include "support/LogFile.h"
#include "support/ScopedVariable.h"
#include "support/Wait.h"
#include "tools/ToolTest.h"

namespace vel::test {
namespace {

// A record as the log writes it, in whole units.
std::string Rec(const std::wstring& text) {
  std::wstring units = text;
  units.resize((text.size() + 7) / 8 * 8, L'\0');
  return {reinterpret_cast<const char*>(units.data()), units.size() * 2};
}
const std::string kHead = "VELLOG.0" + Rec(L"\xFEFF");
// Exactly three units with its end, so that no zero follows it.
const std::string kFull = Rec(L"[1000:a:b:4] fills all\r\n");
const std::string kBanner =
    Rec(L"[1f40:a:b:4] [2026/1/31 18:30.5] IVelLog::create source='X'\r\n");

class SwlcatTest : public ToolTest {
 protected:
  SwlcatTest() : ToolTest(L"swlcat.exe") {}
};

TEST_F(SwlcatTest, ReadsWhatIsThereAndNamesWhatIsNot) {
  const std::string two = Rec(L"[1000:a:b:4] first\r\n") + kFull +
                          Rec(L"[2000:1a:2b:3] second line\r\nand third\r\n");
  const std::string two_out =
      "- +4.096 10:11 4 first\n- +4.096 10:11 4 fills all\n"
      "- +8.192 26:43 3 second line\r\nand third\n";
  const std::string garbage("\x01\x02\0\0\x03\x04xxxxxxxxxx", 16);
  const struct {
    const char* name;
    std::string bytes;
    std::wstring options;
    DWORD code;
    std::string out;
    const char* problem;
  } cases[] = {
      {"whole", kHead + two, L"", 0, two_out, ""},
      {"process", kHead + two, L"--pid 0x1a --grep LINE", 0,
       "- +8.192 26:43 3 second line\r\nand third\n", ""},
      {"JSON", kHead + Rec(L"[10:1:2:4] \"\\\t\x20AC\r\n"), L"--json", 0,
       "\",\"offset\":24,\"time\":null,\"tick\":16,\"pid\":1,\"tid\":2,"
       "\"level\":4,\"text\":\"\\u0022\\u005c\\u0009\xE2\x82\xAC\"}\n",
       ""},
      {"no stream key", kHead + Rec(L"stream_key_init_error=0x5\n") + kFull,
       L"", 0,
       "- +0.000 0:0 0 stream_key_init_error=0x5\n"
       "- +4.096 10:11 4 fills all\n",
       ""},
      {"the date", kHead + kFull + kBanner + Rec(L"[2328:a:b:4] later\r\n"),
       L"--since \"2026-01-31 18:30:05\"", 0,
       "2026-01-31 18:30:05.000 +8.000 10:11 4 [2026/1/31 18:30.5] "
       "IVelLog::create source='X'\n"
       "2026-01-31 18:30:06.000 +9.000 10:11 4 later\n",
       ""},
      {"the counter begins anew",
       kHead + Rec(L"[ffffff00:1:1:4] before\r\n") +
           Rec(L"[100:1:1:4] after\r\n"),
       L"", 0, "- +4294967.040 1:1 4 before\n- +4294967.552 1:1 4 after\n", ""},
      {"damage between records", kHead + kFull + garbage + garbage + kFull, L"",
       1, "- +4.096 10:11 4 fills all\n- +4.096 10:11 4 fills all\n",
       "at 0x48: "},
      {"damage within a record", kHead + kFull.substr(0, 32) + garbage + kFull,
       L"", 1, "- +4.096 10:11 4 fills all\n", "at 0x38: a damaged unit"},
      {"cut in a unit", kHead + kFull + kFull.substr(0, 7), L"", 1,
       "- +4.096 10:11 4 fills all\n", "at 0x48: the last 7 bytes"},
      {"no beginning", "VELLOG.0" + kFull, L"", 1,
       "- +4.096 10:11 4 fills all\n", "at 0x8: the stream has no beginning"},
      {"another file", "MZ......", L"", 1, "", "not a log file"},
      {"wrong option", kHead, L"--levle 3", 2, "", "no such option"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Result result = Run(c.options + L" " + Write(L"a.swl", c.bytes));
    EXPECT_EQ(result.code, c.code);
    const std::size_t from =
        c.options == L"--json" ? result.out.find("\",\"o") : 0;
    EXPECT_EQ(result.out.substr(from), c.out);
    EXPECT_EQ(result.problems.empty(), *c.problem == '\0') << result.problems;
    EXPECT_NE(result.problems.find(c.problem), std::string::npos)
        << result.problems;
  }
}

TEST_F(SwlcatTest, DeciphersTheProductsLogWithItsKeyAlone) {
  if (!HasPrivateKey())
    GTEST_SKIP() << "the build was given a public key alone";
  const ScopedVariable temp(L"TEMP", _scratch.path());
  const ScopedVariable tmp(L"TMP", _scratch.path());
  const ScopedVariable flags(L"VELLOGFLAGS", L"");
  IVelLog::create(L"SWLCAT");
  VelLog_Print(kLogNotice, L"record %s", L"\x20AC");
  IVelLog::release();
  const std::wstring file = L"VelTmp\\Logs\\SWLCAT.swl";
  const std::wstring path = L"\"" + _scratch.File(file) + L"\"";
  const std::wstring key =
      std::wstring(L"--key \"") + PrivateKeyPath() + L"\" ";
  const Result result = Run(key + path);
  EXPECT_EQ(result.code, 0u) << result.problems;
  EXPECT_NE(result.out.find(" record \xE2\x82\xAC\n"), std::string::npos);
  EXPECT_EQ(result.out.substr(0, 2), "20") << "the banner gives the date";

  EXPECT_EQ(Run(path).code, 1u);
  std::string bytes = _scratch.Read(file);
  bytes[40] = static_cast<char>(bytes[40] ^ 1);
  const Result foreign = Run(key + Write(L"foreign.swl", bytes));
  EXPECT_EQ(foreign.code, 1u);
  EXPECT_NE(foreign.problems.find("another key"), std::string::npos);
}

TEST_F(SwlcatTest, FollowsAcrossARotation) {
  const auto append = [this](const std::string& bytes) {
    std::ofstream(std::filesystem::path(_scratch.File(L"f.swl")),
                  std::ios::binary | std::ios::app)
        << bytes;
  };
  const auto printed = [this](const char* text) {
    return WaitUntil(
        [&] { return _scratch.Read(L"out").find(text) != std::string::npos; });
  };
  append(kHead + kBanner);
  const PROCESS_INFORMATION process =
      Start(L"--follow \"" + _scratch.File(L"f.swl") + L"\"");
  EXPECT_TRUE(printed("IVelLog::create"));
  append(kFull);
  EXPECT_TRUE(printed("fills all")) << "without anything behind it";
  append(Rec(L"[3000:1:1:4] last of the old\r\n"));
  EXPECT_TRUE(MoveFileExW(_scratch.File(L"f.swl").c_str(),
                          _scratch.File(L"f.swl.old").c_str(), 0));
  append(kHead + Rec(L"[3100:1:1:4] first of the new\r\n"));
  EXPECT_TRUE(printed("last of the old"));
  EXPECT_TRUE(printed("18:30:09.544 +12.544 1:1 4 first of the new"));
  TerminateProcess(process.hProcess, 0);
  WaitForSingleObject(process.hProcess, 10000);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  EXPECT_EQ(_scratch.Read(L"problems"), "");
}

}  // namespace
}  // namespace vel::test
