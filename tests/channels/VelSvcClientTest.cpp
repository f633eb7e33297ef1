#include "channels/VelSvcClient.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/LogCapture.h"

namespace vel {
namespace {

// What a query or a command answers.
struct Answer {
  DWORD error = 0, state = 0;
  std::uint32_t reply = 0;
  bool startable = false;
};

// From a text such as "7*p r": seven times "starts up", then always "runs". A
// service is p, r (runs), s (stopped) or d (disabled); e5 is the error 5 and
// =9 the reply 9.
std::vector<Answer> Parse(const std::string& text) {
  std::vector<Answer> answers;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const std::size_t star = word.find('*');
    const int times = star == std::string::npos ? 1 : std::stoi(word);
    if (star != std::string::npos) word.erase(0, star + 1);
    const char kind = word[0];
    const auto number = [&] { return std::stoul(word.substr(1)); };
    Answer answer;
    answer.startable = kind != 'd';
    if (kind == 'p') answer.state = SERVICE_START_PENDING;
    if (kind == 'r') answer.state = SERVICE_RUNNING;
    if (kind == 's' || kind == 'd') answer.state = SERVICE_STOPPED;
    if (kind == 'e') answer.error = number();
    if (kind == '=') answer.reply = number();
    answers.insert(answers.end(), static_cast<std::size_t>(times), answer);
  }
  return answers;
}

// A service that follows a script, on a clock that passes at once.
struct Script {
  std::vector<Answer> answers, replies;
  std::size_t queries = 0, commands = 0;
  DWORD slept = 0;

  static const Answer& Next(const std::vector<Answer>& answers,
                            std::size_t at) {
    return at < answers.size() ? answers[at] : answers.back();
  }
};
Script* script = nullptr;

constexpr VelSvcCalls kCalls = {
    [](DWORD& state, bool& startable) {
      const Answer& answer = Script::Next(script->answers, script->queries++);
      SetLastError(answer.error);
      state = answer.state;
      startable = answer.startable;
      return answer.error == 0;
    },
    [](std::uint32_t, const std::wstring&) {
      const Answer& answer = Script::Next(script->replies, script->commands++);
      SetLastError(answer.error);
      return answer.reply;
    },
    [](DWORD milliseconds) { script->slept += milliseconds; }};

TEST(VelSvcClient, WaitsAndRetriesAsStateAndRepliesSay) {
  const struct {
    const char* service;
    const char* replies;  // null for a wait alone, whose result is 1 or 0
    int result;
    std::size_t calls;  // of the command, or queries in a wait
    DWORD slept;
    unsigned level;
    std::wstring line;
  } cases[] = {
      {"r", nullptr, 1, 1, 0, 4, L"svc_state=0x4."},
      {"d", nullptr, 0, 1, 0, 4, L"svc_state=0x1."},
      {"e1060", nullptr, 0, 1, 0, 4, L"VelSvc not installed"},
      {"e123", nullptr, 0, 1, 0, 4, L"VelSvc not installed"},
      {"7*p r", nullptr, 1, 8, 2100, 4, L"svc_state=0x4."},
      {"s", nullptr, 0, 1000, 300000, 3, L"timeout"},
      {"e5", nullptr, 0, 10, 3000, 3, L"timeout"},
      // A success in between has the failures counted anew.
      {"9*e5 s 9*e5 r", nullptr, 1, 20, 5700, 4, L"svc_state=0x4."},
      {"r", "=77", 77, 1, 0, 4, L"Result 77."},
      {"r", "=4294967294", -2, 1, 0, 4, L"Result -2."},
      {"r", "5*e2 =9", 9, 6, 3000, 4, L"Result 9."},
      {"r", "e2", 0, 100, 60000, 2, L"Timed out."},
      {"e1060", "e2", 0, 1, 0, 2, L"Error 2."},
      // Not installed, but run by hand.
      {"e1060", "=5", 5, 1, 0, 4, L"Result 5."},
      {"r", "e5", 0, 1, 0, 2, L"Error 5."},
      {"r", "=0", 0, 1, 0, 2, L"Error 0."},
      {"r", "2*e2 e109", 0, 3, 1200, 2, L"Error 109."},
  };
  for (const auto& row : cases) {
    const bool waits = row.replies == nullptr;
    SCOPED_TRACE(testing::Message() << row.service << ": " << !waits);
    const test::LogCapture log;
    Script run = {Parse(row.service), Parse(waits ? "" : row.replies)};
    script = &run;
    const int result =
        waits ? VelSvc_WaitWith(kCalls)
              : VelSvc_NotifyWith(kCalls, kSvcNotifyTrayStarted, L"");
    EXPECT_EQ(result, row.result);
    EXPECT_EQ(waits ? run.queries : run.commands, row.calls);
    EXPECT_EQ(run.slept, row.slept);
    EXPECT_TRUE(log.Contains(
        row.level,
        (waits ? L"VelSvc_Wait: " : L"VelSvc_Notify(0x2): ") + row.line));
  }
}

}  // namespace
}  // namespace vel
