#include "channels/VelSvcClient.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "support/LogCapture.h"

namespace vel {
namespace {

// What a query or a command answers.
struct Answer {
  DWORD error = 0;
  DWORD state = 0;
  bool startable = false;
  std::uint32_t reply = 0;
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
    const auto number = [&] { return std::stoul(word.substr(1)); };
    Answer answer;
    answer.startable = word != "d";
    if (word[0] == 'p') answer.state = SERVICE_START_PENDING;
    if (word[0] == 'r') answer.state = SERVICE_RUNNING;
    if (word[0] == 's' || word[0] == 'd') answer.state = SERVICE_STOPPED;
    if (word[0] == 'e') answer.error = number();
    if (word[0] == '=') answer.reply = static_cast<std::uint32_t>(number());
    answers.insert(answers.end(), static_cast<std::size_t>(times), answer);
  }
  return answers;
}

// A service that follows a script, on a clock that passes at once.
struct Script {
  std::vector<Answer> answers;
  std::vector<Answer> replies;
  std::size_t queries = 0;
  std::size_t commands = 0;
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
      if (answer.error != 0) return false;
      state = answer.state;
      startable = answer.startable;
      return true;
    },
    [](std::uint32_t, const std::wstring&) {
      const Answer& answer = Script::Next(script->replies, script->commands++);
      SetLastError(answer.error);
      return answer.reply;
    },
    [](DWORD milliseconds) { script->slept += milliseconds; }};

TEST(VelSvcWaitTest, EndsAsTheStateOrTheCountsSay) {
  // Whether it runs, queries, milliseconds slept, level and text of a line.
  const std::tuple<const char*, bool, std::size_t, DWORD, unsigned,
                   std::wstring>
      cases[] = {
          {"r", true, 1, 0, 4, L"svc_state=0x4."},
          {"d", false, 1, 0, 4, L"svc_state=0x1."},
          {"e1060", false, 1, 0, 4, L"VelSvc not installed"},
          {"e123", false, 1, 0, 4, L"VelSvc not installed"},
          {"7*p r", true, 8, 2100, 4, L"svc_state=0x4."},
          {"s", false, 1000, 300000, 3, L"timeout"},
          {"e5", false, 10, 3000, 3, L"timeout"},
          // A success in between has the failures counted anew.
          {"9*e5 s 9*e5 r", true, 20, 5700, 4, L"svc_state=0x4."},
      };
  for (const auto& [answers, runs, queries, slept, level, line] : cases) {
    SCOPED_TRACE(answers);
    const test::LogCapture log;
    Script run = {Parse(answers), {}};
    script = &run;
    EXPECT_EQ(VelSvc_WaitWith(kCalls), runs);
    EXPECT_EQ(run.queries, queries);
    EXPECT_EQ(run.slept, slept);
    EXPECT_TRUE(log.Contains(level, L"VelSvc_Wait: " + line));
  }
}

TEST(VelSvcNotifyTest, RetriesOnlyForAPipeThatIsNotThereYet) {
  // The service, its replies, the result, commands, milliseconds slept, level
  // and text of a line.
  const std::tuple<const char*, const char*, int, std::size_t, DWORD, unsigned,
                   std::wstring>
      cases[] = {
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
  for (const auto& [state, replies, result, commands, slept, level, line] :
       cases) {
    SCOPED_TRACE(replies);
    const test::LogCapture log;
    Script run = {Parse(state), Parse(replies)};
    script = &run;
    EXPECT_EQ(VelSvc_NotifyWith(kCalls, kSvcNotifyTrayStarted, L""), result);
    EXPECT_EQ(run.commands, commands);
    EXPECT_EQ(run.slept, slept);
    EXPECT_TRUE(log.Contains(level, L"VelSvc_Notify(0x2): " + line));
  }
}

}  // namespace
}  // namespace vel
