// The counters, the report and the message of its reply.
#include <winsock2.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <regex>
#include <thread>

#include "foundation/CodePageConverter.h"
#include "foundation/Product.h"
#include "support/Allocations.h"
#include "support/LogCapture.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"
#include "support/Wait.h"
#include "support/WebServer.h"
#include "usage/BetaMessage.h"
#include "usage/ReportText.h"
#include "usage/UsageMonitor.h"
#include "usage/UsageReport.h"

namespace vel {
namespace {

const HKEY kUser = HKEY_CURRENT_USER;

// The clock of the tests. Each wait goes to the next of these times and, after
// the last, is ended by the stop.
using Times = std::vector<std::int64_t>;
Times times, reports;
std::size_t at;
bool server_is_there;

const UsageCalls kTestCalls = {
    [] { return times[at]; },
    [](HANDLE stop, DWORD milliseconds) {
      EXPECT_EQ(milliseconds, 30000u);
      if (at + 1 < times.size()) return ++at, false;
      return WaitForSingleObject(stop, 60000) == WAIT_OBJECT_0;
    },
    [](const wchar_t* reason) {
      EXPECT_STREQ(reason, L"periodic");
      reports.push_back(times[at]);
      return server_is_there;
    },
};

class UsageTest : public testing::Test {
 protected:
  static std::uint32_t Counter(const wchar_t* name) {
    return RegGetDword(kUser, kProductKey, name, 0, 0);
  }
  static std::uint64_t LastReport() {
    return RegGetQword(kUser, kProductKey, L"LastUsageReport64", nullptr);
  }
  // One run of the monitor over these times.
  static void Run(Times run_times, bool server = true,
                  const UsageCalls& calls = kTestCalls) {
    times = std::move(run_times);
    at = 0;
    reports.clear();
    server_is_there = server;
    UsageMonitor monitor(calls);
    ASSERT_TRUE(monitor.start());
    EXPECT_TRUE(test::WaitUntil([] { return at + 1 == times.size(); }));
  }

  test::ScopedRegistry _registry;
};

TEST_F(UsageTest, CountsSecondsAndStarts) {
  Run({5000, 5030, 5060, 5095});
  EXPECT_EQ(Counter(L"UsedTime"), 95u);
  // A clock that is set back stands still until it is past that time again.
  Run({9000, 5400, 8999, 9010});
  EXPECT_EQ(Counter(L"UsedTime"), 105u);
  EXPECT_EQ(Counter(L"StartsCount"), 2u);
  RegSetDword(kUser, kProductKey, L"UsedTime", 0xFFFFFFFF, 0);
  Run({100, 103});
  EXPECT_EQ(Counter(L"UsedTime"), 2u);
}

TEST_F(UsageTest, ABuildWithoutAHostCountsAndReportsNothing) {
  const test::LogCapture log(2);
  UsageCalls calls = kTestCalls;
  calls.send_report = nullptr;
  Run({100000, 100900, 101800}, true, calls);
  EXPECT_EQ(reports, Times{});
  EXPECT_EQ(LastReport(), 0u);
  EXPECT_EQ(Counter(L"UsedTime"), 1800u);
  EXPECT_EQ(Counter(L"StartsCount"), 1u);
  const auto says_so = [](const test::LogLine& line) {
    return test::LogCapture::Contains({line}, 2, L"reports are off");
  };
  EXPECT_EQ(std::ranges::count_if(log.Lines(), says_so), 1);
}

TEST(UsageHost, OneThatCannotExistIsNotAskedFor) {
  EXPECT_TRUE(reports_have_a_host(L"stats.example.com"));
  EXPECT_TRUE(reports_have_a_host(L"invalid.example.com"));
  EXPECT_FALSE(reports_have_a_host(L"stats.brindlemar.invalid"));
  EXPECT_FALSE(reports_have_a_host(L""));
  if (reports_have_a_host(kVendorHost)) GTEST_SKIP() << "has a vendor's host";
  const test::LogCapture log(1);
  EXPECT_FALSE(SendUsageStatsReport(L"install"));
  EXPECT_FALSE(log.Contains(2, L"SendUsageStatsReport"));
}

TEST_F(UsageTest, ReportsEvery900Seconds) {
  Run({100000, 100899, 100900, 101799, 101800});
  EXPECT_EQ(reports, (Times{100000, 100900, 101800}));
  EXPECT_EQ(LastReport(), 101800u);
  // One that fails is tried again at each round.
  Run({102700, 102730, 102760}, false);
  EXPECT_EQ(reports, (Times{102700, 102730, 102760}));
  EXPECT_EQ(LastReport(), 101800u);
  // What can't be a time counts as one that hasn't come yet.
  RegSetQword(kUser, kProductKey, L"LastUsageReport64", 0x7FFFFFFFFFFFFFFF);
  Run({102790});
  EXPECT_EQ(reports, Times{});
  RegRemoveValue(kUser, kProductKey, L"LastUsageReport64", 0);
  RegSetDword(kUser, kProductKey, L"LastUsageReport", 200000, 0);
  Run({200899, 200900});
  EXPECT_EQ(reports, Times{200900});
  EXPECT_EQ(LastReport(), 200900u);
}

// A slow server, or a message that nobody has answered yet.
TEST_F(UsageTest, TheEndWaitsForAReportThatIsUnderWay) {
  static const HANDLE answer = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  static std::atomic<bool> sending;
  sending = false;
  ResetEvent(answer);
  std::atomic<bool> ended = false;
  times = {100000};
  at = 0;
  UsageCalls calls = kTestCalls;
  calls.send_report = [](const wchar_t*) {
    sending = true;
    return WaitForSingleObject(answer, 20000) == WAIT_OBJECT_0;
  };
  std::optional<UsageMonitor> monitor(std::in_place, calls);
  ASSERT_TRUE(monitor->start());
  EXPECT_TRUE(test::WaitUntil([] { return sending.load(); }));
  std::thread end([&] {
    monitor.reset();
    ended = true;
  });
  Sleep(200);
  EXPECT_FALSE(ended);
  SetEvent(answer);
  end.join();
  EXPECT_EQ(LastReport(), 100000u);
}

// Outside of the tests' registry, which has no providers.
TEST(UsageHash, IsThatOfTheUsersName) {
  const test::ScopedVariable user(L"USERNAME", L"J\xFCrgen");
  EXPECT_EQ(report_user_hash(), "LbTtsxCMSugZ1IWADZN8FFLczjA=");
}

TEST_F(UsageTest, TheReportSaysWhatItMayAndNoMore) {
  const test::ScopedVariable user(L"USERNAME", L"J\xFCrgen");
  RegSetDword(kUser, kProductKey, L"UsedTime", 7, 0);
  RegSetDword(kUser, kProductKey, L"CrashesCount", 0xFFFFFFFF, 0);
  RegSetDword(HKEY_LOCAL_MACHINE,
              L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", L"~MHz",
              2400, 0);
  const std::wstring body = report_body(L"periodic");
  const std::wregex lines(
      L"Reason=periodic\nUserHash=([A-Za-z0-9+/=]{28})\n"
      L"Version=(\\d+\\.\\d+\\.\\d+\\.\\d+)?\n"
      L"OS: MajorVersion=0x[0-9a-f]+ MinorVersion=0x[0-9a-f]+ "
      L"BuildNumber=0x[0-9a-f]+ PlatformId=0x2 SP=\\d+\\.\\d+ \\('.*'\\) "
      L"SuiteMask=0x[0-9a-f]+ ProductType=0x[0-9a-f]+\n"
      L"Hardware: ProcessorType=AMD_x64_processor "
      L"ProcessorArchitecture=AMD_x64_processor_architecture "
      L"NumberOfProcessors=\\d+ ProcessorRevisionNumber=8664 "
      L"MemorySize=\\d+ ProcessorFrequency=2400 MHz\n"
      L"UsedTime=7\nStartsCount=0\nSentDumpsCount=0\nCrashesCount=4294967295"
      L"\n");
  EXPECT_TRUE(std::regex_match(body, lines)) << testing::PrintToString(body);
  EXPECT_EQ(body.find(L"rgen"), std::wstring::npos);
  EXPECT_TRUE(std::regex_match(
      report_headers(report_date(), 321),
      std::wregex(L"Date: [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:"
                  L"\\d\\d \\d{4} GMT\nContent-Length: 321\n"
                  L"Content-Type: text/html\n")));
  EXPECT_TRUE(std::regex_match(
      report_name(L"install"),
      std::wregex(L"/brindlemar/install_[0-9.]*_\\d{4}-\\d\\d-\\d\\d_\\d\\d-"
                  L"\\d\\d-\\d\\d_[a-z0-9]{4}")));
}

const std::string kOk = "HTTP/1.0 200 OK\r\n\r\n";

bool Report(const test::WebServer& server, const wchar_t* reason) {
  const std::wstring url = server.Url(L"");
  return SendUsageStatsReportTo(url.substr(7, url.find(L':', 7) - 7).c_str(),
                                reason);
}

TEST_F(UsageTest, GoesToThePathOfItsReason) {
  test::WebServer server({{"/periodic", {kOk + "/msg=\"no id\""}},
                          {"/install", {"HTTP/1.0 500 Bad\r\n\r\n"}},
                          {"/uninstall", {kOk}}},
                         80);
  if (server.port() == 0) GTEST_SKIP() << "Port 80 can't be had here.";
  const test::LogCapture log;
  const std::pair<const wchar_t*, std::string> rows[] = {
      {L"periodic", "/periodic"},
      {L"install", "/install"},
      {L"other", "/uninstall"}};
  for (const auto& [reason, path] : rows) {
    EXPECT_TRUE(Report(server, reason));
    const std::string request = server.requests().back();
    EXPECT_EQ(request.find("POST " + path + " HTTP/1."), 0u);
    EXPECT_NE(request.find("Content-Type: text/html"), std::string::npos);
    EXPECT_NE(request.find("\r\n\r\nReason="), std::string::npos);
  }
  EXPECT_EQ(server.requests().size(), 3u);
  EXPECT_TRUE(log.Contains(1,
                           L"SendUsageStatsReport('periodic') - OK, "
                           L"responce: /msg=\"no id\""));
  server.Stop();
  EXPECT_FALSE(Report(server, L"install"));
  EXPECT_TRUE(
      log.Contains(2, L"SendUsageStatsReport('install') - failed, le=1"));
}

TEST_F(UsageTest, OutlivesAReplyThatMemoryCannotHold) {
  constexpr std::size_t kLength = 900'000;
  test::WebServer server({{"/periodic", {kOk + std::string(kLength, 'x')}}},
                         80);
  if (server.port() == 0) GTEST_SKIP() << "Port 80 can't be had here.";
  const test::LogCapture log(2);
  {
    const test::MemoryRunsOut memory(0, kLength * sizeof(wchar_t));
    EXPECT_TRUE(Report(server, L"periodic"));
    EXPECT_TRUE(memory.happened());
  }
  EXPECT_TRUE(log.Contains(2, L"SendUsageStatsReport('periodic') - "));
}

std::wstring opened;

// Presses a button of the message once it is there, and gives its text.
std::wstring Press(int button) {
  HWND box = nullptr;
  EXPECT_TRUE(test::WaitUntil([&] {
    box = FindWindowW(L"#32770", L"Brindlemar Beta Message");
    return box && GetDlgItem(box, button);
  }));
  wchar_t text[200] = L"";
  GetDlgItemTextW(box, 0xFFFF, text, 200);
  PostMessageW(box, WM_COMMAND, WPARAM(button), 0);
  EXPECT_TRUE(test::WaitUntil([&] { return !IsWindow(box); }));
  return text;
}

// Shows the reply's message, and gives its text.
std::wstring Show(const std::wstring& reply, int button) {
  opened = L"";
  std::thread thread([&reply] {
    show_beta_message(reply, [](const std::wstring& url) { opened = url; });
  });
  const std::wstring text = Press(button);
  thread.join();
  return text;
}

std::uint64_t ShownAt(const std::wstring& id) {
  return RegGetQword(kUser, L"Software\\Tessavane\\VEL\\BetaMsg", id, nullptr);
}

TEST_F(UsageTest, ShowsAMessageOncePerId) {
  show_beta_message(L"/msg=\"never\"");
  show_beta_message(L"/id=\"0\"");
  EXPECT_EQ(Show(widen("/msg=\"gr\xC3\xBC\xC3\x9F\" /id=\"7\""), IDOK),
            L"gr\xFC\xDF");
  EXPECT_GT(ShownAt(L"7"), 1600000000u);
  show_beta_message(L"/msg=\"again\" /id=\"7\"");
  EXPECT_EQ(Show(L"/msg=\"m\" /id=\"8\" /url=\"http://x.invalid/\"", IDNO),
            L"m");
  EXPECT_NE(ShownAt(L"8"), 0u);
  EXPECT_EQ(opened, L"");
}

// A page becomes the parameters of a program. BEL and 2 stand for a quote.
TEST_F(UsageTest, OpensNothingButPlainPages) {
  const std::pair<std::wstring, bool> rows[] = {
      {L"http://x.invalid/a?b=%20c#d", true},
      {L"https://x.invalid/", true},
      {L"-osint -url http://x.invalid/", false},
      {L"file:///C:/windows/", false},
      {L"http://x.invalid/ -profile", false},
      {L"http://x.invalid/\a2--remote\a2", false},
      {L"http://x.invalid/\r\n", false},
      {L"http://x.invalid/\x7f", false},
      {L"http://x.invalid\\share", false},
      {L"\\\\x.invalid\\share\\run.exe", false}};
  std::wstring id = L"1";
  for (const auto& [url, is_page] : rows) {
    id += L'1';
    const test::LogCapture log(2);
    const std::wstring reply =
        L"/msg=\"m\" /id=\"" + id + L"\" /url=\"" + url + L"\"";
    EXPECT_EQ(Show(reply, IDYES), L"m");
    EXPECT_EQ(opened, is_page ? url : L"");
    EXPECT_EQ(log.Contains(2, L"show_beta_message(" + id + L")"), !is_page);
    EXPECT_NE(ShownAt(id), 0u);
  }
}

}  // namespace
}  // namespace vel
