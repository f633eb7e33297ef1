// The real swlcat.exe on files of the tests' own and of the product's log.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "log/LogCipher.h"
#include "log/StreamKey.h"
#include "log/VelLog.h"
#include "support/LogDirectory.h"
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
const std::string kFullOut = "- +4.096 10:11 4 fills all\n";
const std::string kBanner =
    Rec(L"[1f40:a:b:4] [2026/1/31 18:30.5] IVelLog::create source='X'\r\n");

class SwlcatTest : public ToolTest {
 protected:
  SwlcatTest() : ToolTest(L"swlcat.exe") {}
};

TEST_F(SwlcatTest, ReadsWhatIsThereAndNamesWhatIsNot) {
  const std::string two = Rec(L"[1000:a:b:4] first\r\n") + kFull +
                          Rec(L"[2000:1a:2b:3] second line\r\nand third\r\n");
  const std::string two_out = "- +4.096 10:11 4 first\n" + kFullOut +
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
       L"", 0, "- +0.000 0:0 0 stream_key_init_error=0x5\n" + kFullOut, ""},
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
       1, kFullOut + kFullOut, "at 0x48: "},
      {"damage within a record", kHead + kFull.substr(0, 32) + garbage + kFull,
       L"", 1, kFullOut, "at 0x38: a damaged unit"},
      {"cut in a unit", kHead + kFull + kFull.substr(0, 7), L"", 1, kFullOut,
       "at 0x48: the last 7 bytes"},
      {"cut at a unit", kHead + kFull.substr(0, 32) + kFull, L"", 1,
       "- +4.096 10:11 4 fil\n" + kFullOut, "at 0x18: a record is cut off"},
      {"cut and filled up",
       kHead + kFull.substr(0, 35) + std::string(13, '\0') + kFull, L"", 1,
       "- +4.096 10:11 4 fills\n" + kFullOut, "at 0x18: a record is cut off"},
      {"filled up within its padding",
       kHead + Rec(L"[9:1:2:4] x\r\n").substr(0, 29) + std::string(3, '\0') +
           kFull,
       L"", 0, "- +0.009 1:2 4 x\n" + kFullOut, ""},
      {"cut and not filled up",
       kHead + kFull.substr(0, 35) + kFull + kFull + "end", L"", 1,
       kFullOut + kFullOut, "at 0x18: a damaged record; 35 bytes passed over"},
      {"damage in the last record",
       kHead + kFull.substr(0, 31) + "xx" + kFull.substr(32), L"", 1, "",
       "0x18: a damaged record; 49 bytes"},
      {"the last record is cut", kHead + kFull + kFull.substr(0, 36), L"", 1,
       kFullOut, "at 0x48: the last record is cut off"},
      {"one level", kHead + two, L"--only 3", 0,
       "- +8.192 26:43 3 second line\r\nand third\n", ""},
      {"no beginning", "VELLOG.0" + kFull, L"", 0, kFullOut,
       "warning: the stream has no beginning"},
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

// Any bytes taken out of a plain file cost the records that they belong to, and
// no other.
TEST_F(SwlcatTest, FindsTheNextRecordAtAnyOffset) {
  std::string bytes = kHead;
  std::vector<std::size_t> begins;
  for (int i = 0; i < 5; ++i) {
    begins.push_back(bytes.size());
    bytes += Rec(L"[" + std::to_wstring(1000 + i) + L":1:1:4] this is record " +
                 std::to_wstring(i) + std::wstring(4 * i, L'.') + L"|\r\n");
  }
  begins.push_back(bytes.size());
  struct Cut {
    std::wstring name;
    std::size_t begin, end;
  };
  std::vector<Cut> cuts;
  for (std::size_t at = begins[1]; at < begins[3]; ++at) {
    for (const std::size_t size : {1, 8, 16, 40}) {
      cuts.push_back({std::to_wstring(cuts.size()) + L".swl", at, at + size});
      std::string cut = bytes;
      _scratch.Write(L"logs\\" + cuts.back().name, cut.erase(at, size));
    }
  }
  const Result result = Run(L"\"" + _scratch.File(L"logs") + L"\"");
  EXPECT_EQ(result.code, 1u);
  EXPECT_EQ(result.problems.find("last record"), std::string::npos);
  for (const auto& [name, from, to] : cuts) {
    const std::string start = "\\" + std::string(name.begin(), name.end());
    for (std::size_t i = 0; i < 5; ++i) {
      if (from < begins[i + 1] && begins[i] < to) continue;
      const std::string end =
          "this is record " + std::to_string(i) + std::string(4 * i, '.') + "|";
      std::size_t found = 0;
      for (std::size_t at = 0;
           (at = result.out.find(start, at)) != std::string::npos; ++at) {
        const std::size_t line = result.out.find('\n', at);
        const std::string text = result.out.substr(at, line - at);
        found += text.ends_with(end) || text.ends_with(end + "\r");
      }
      EXPECT_EQ(found, 1u) << start << " record " << i;
    }
  }
}

// An enciphered file of these units, under a key of the test's own.
std::string Encipher(std::string units) {
  const StreamKeyBlock key = {0, 2, 7, 7, 7, 7, 7, 7, 7, 7, 0, 1, 2, 3};
  std::uint8_t wrapped[kWrappedKeyBytes];
  std::uint32_t length = 0;
  LogCipher cipher;
  EXPECT_EQ(seal_stream_key(key, wrapped, &length), 0u);
  EXPECT_TRUE(cipher.set_key(key));
  EXPECT_TRUE(
      cipher.encipher(units.data(), static_cast<std::uint32_t>(units.size())));
  return std::string("VELLOG.1\x40\0\0\0", 12) +
         std::string(reinterpret_cast<char*>(wrapped), length) + units;
}

TEST_F(SwlcatTest, ReadsOnAfterDamageInAnEncipheredFile) {
  if (!HasPrivateKey())
    GTEST_SKIP() << "the build was given a public key alone";
  const std::string first =
      Rec(L"[1000:a:b:4] 0123456789 0123456789 0123456789\r\n");
  const std::string rest =
      Rec(L"[9:1:2:4] \x5317\x4EAC \xD83D\xDE00 text\r\n") + kFull;
  const std::string bytes = Encipher(Rec(L"\xFEFF") + first + rest);
  const std::string rest_out =
      "\n- +0.009 1:2 4 \xE5\x8C\x97\xE4\xBA\xAC \xF0\x9F\x98\x80 text\n" +
      kFullOut;
  constexpr std::size_t kFirst = 76 + 16;  // 0x5c
  const auto flipped = [&](std::size_t at, std::size_t size) {
    std::string damaged = bytes;
    for (std::size_t i = kFirst + at; i < kFirst + at + size; ++i) {
      damaged[i] = static_cast<char>(damaged[i] ^ 0x55);
    }
    return damaged;
  };
  const struct {
    const char* name;
    std::string bytes;
    std::string first;  // its end
    const char* problem;
  } cases[] = {
      {"whole", bytes, "4 0123456789 0123456789 0123456789", ""},
      {"a unit within a record", flipped(40, 1), "0123456789 0123456789",
       "at 0x7c: a damaged unit of the cipher\r"},
      {"two units", flipped(33, 30), "",
       "at 0x7c: a damaged unit of the cipher; 96 bytes from 0x5c on passed"},
      {"the first unit", flipped(0, 1), "",
       "at 0x5c: no record begins here; 96 bytes passed over"},
      {"bytes taken out", std::string(bytes).erase(kFirst + 37, 5), "",
       "at 0x7c: a damaged unit of the cipher; 91 bytes from 0x5c on passed"},
      {"cut and filled up",
       bytes.substr(0, kFirst + 35) + std::string(13, '\0') +
           bytes.substr(kFirst + first.size()),
       "- +4.096 10:11 4 012", "at 0x5c: a record is cut off"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Result result =
        Run(L"--key \"" + PrivateKeyPath() + L"\" " + Write(L"a.swl", c.bytes));
    EXPECT_EQ(result.code, c.bytes == bytes ? 0u : 1u);
    EXPECT_TRUE(("\n" + result.out).ends_with(c.first + rest_out))
        << result.out;
    EXPECT_NE(result.problems.find(c.problem), std::string::npos)
        << result.problems;
    EXPECT_EQ(std::count(result.problems.begin(), result.problems.end(), '\n'),
              c.bytes == bytes ? 0 : 1);
  }
}

TEST_F(SwlcatTest, TakesPatternsAndFolders) {
  _scratch.Write(L"logs\\A.swl", kHead + Rec(L"[9:1:1:4] new\r\n"));
  _scratch.Write(L"logs\\A.swl.old", kHead + Rec(L"[9:1:1:4] old\r\n"));
  _scratch.Write(L"logs\\B.swl", kHead + Rec(L"[9:1:1:4] other\r\n"));
  _scratch.Write(L"logs\\killed.0", "no log");
  const auto texts = [&](const std::wstring& name) {
    const Result result = Run(L"\"" + _scratch.File(L"logs") + name + L"\"");
    std::string all = std::to_string(result.code);
    for (std::size_t at = 0;
         (at = result.out.find(" 4 ", at)) != std::string::npos;) {
      at += 2;
      all += result.out.substr(at, result.out.find('\n', at) - at);
    }
    return all;
  };
  EXPECT_EQ(texts(L""), "0 old new other");
  EXPECT_EQ(texts(L"\\*.swl"), "0 new other");
  EXPECT_EQ(texts(L"\\a.*"), "0 old new");
  EXPECT_EQ(texts(L"\\?.swl.old"), "0 old");
  EXPECT_EQ(texts(L"\\C*"), "1");
  EXPECT_EQ(texts(L"\\C.swl"), "1");
}

TEST_F(SwlcatTest, DeciphersTheProductsLogWithItsKeyAlone) {
  if (!HasPrivateKey())
    GTEST_SKIP() << "the build was given a public key alone";
  const LogDirectory logs(L"");
  IVelLog::create(L"SWLCAT");
  VelLog_Print(kLogNotice, L"record %s", L"\x20AC");
  IVelLog::release();
  const std::wstring path = L"\"" + logs.Path(L"SWLCAT.swl") + L"\"";
  const std::wstring key =
      std::wstring(L"--key \"") + PrivateKeyPath() + L"\" ";
  const Result result = Run(key + path);
  EXPECT_EQ(result.code, 0u) << result.problems;
  EXPECT_NE(result.out.find(" record \xE2\x82\xAC\n"), std::string::npos);
  EXPECT_EQ(result.out.substr(0, 2), "20") << "the banner gives the date";

  EXPECT_EQ(Run(path).code, 1u);
  std::string bytes = logs.Read(L"SWLCAT.swl");
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
  CloseHandle(process.hThread), CloseHandle(process.hProcess);
  EXPECT_EQ(_scratch.Read(L"problems"), "");
}

}  // namespace
}  // namespace vel::test
