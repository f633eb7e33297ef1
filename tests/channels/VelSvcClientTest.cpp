#include "channels/VelSvcClient.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/LogCapture.h"

namespace vel {
namespace {

// What a query or a command answers, and how often before the next one does.
struct Answer {
  int times;
  DWORD error;  // of a query; a reply of 0 has one too
  DWORD state = 0;
  bool startable = false;
  std::uint32_t reply = 0;
};

// A service that follows a script, on a clock that passes at once.
struct Script {
  std::vector<Answer> answers;
  std::vector<Answer> replies;
  int queries = 0;
  int commands = 0;
  DWORD slept = 0;

  static const Answer& Next(const std::vector<Answer>& answers, int at) {
    for (const Answer& answer : answers) {
      if ((at -= answer.times) < 0) return answer;
    }
    return answers.back();
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

constexpr Answer kRuns = {1, 0, SERVICE_RUNNING, true};
constexpr Answer kStopped = {1, 0, SERVICE_STOPPED, true};
constexpr Answer kNotInstalled = {1, ERROR_SERVICE_DOES_NOT_EXIST};

TEST(VelSvcWaitTest, EndsAsTheStateOrTheCountsSay) {
  const struct {
    const char* name;
    std::vector<Answer> answers;
    bool runs;
    int queries;
    DWORD slept;
    unsigned level;
    const wchar_t* line;
  } cases[] = {
      {"runs", {kRuns}, true, 1, 0, 4, L"VelSvc_Wait: svc_state=0x4."},
      {"disabled",
       {{1, 0, SERVICE_STOPPED, false}},
       false,
       1,
       0,
       4,
       L"VelSvc_Wait: svc_state=0x1."},
      {"not installed",
       {kNotInstalled},
       false,
       1,
       0,
       4,
       L"VelSvc_Wait: VelSvc not installed"},
      {"invalid name",
       {{1, ERROR_INVALID_NAME}},
       false,
       1,
       0,
       4,
       L"VelSvc_Wait: VelSvc not installed"},
      {"start pending, then runs",
       {{7, 0, SERVICE_START_PENDING, true}, kRuns},
       true,
       8,
       7 * 300,
       4,
       L"VelSvc_Wait: svc_state=0x4."},
      {"stopped but startable",
       {kStopped},
       false,
       1000,
       300000,
       3,
       L"VelSvc_Wait: timeout"},
      {"ten failures in a row",
       {{1, ERROR_ACCESS_DENIED}},
       false,
       10,
       3000,
       3,
       L"VelSvc_Wait: timeout"},
      {"a success in between counts anew",
       {{9, ERROR_ACCESS_DENIED}, kStopped, {9, ERROR_ACCESS_DENIED}, kRuns},
       true,
       20,
       19 * 300,
       4,
       L"VelSvc_Wait: svc_state=0x4."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const test::LogCapture log;
    Script run = {c.answers, {}};
    script = &run;
    EXPECT_EQ(VelSvc_WaitWith(kCalls), c.runs);
    EXPECT_EQ(run.queries, c.queries);
    EXPECT_EQ(run.slept, c.slept);
    EXPECT_TRUE(log.Contains(c.level, c.line));
  }
}

TEST(VelSvcNotifyTest, RetriesOnlyForAPipeThatIsNotThereYet) {
  constexpr Answer kNoPipe = {1, ERROR_FILE_NOT_FOUND};
  const struct {
    const char* name;
    Answer state;
    std::vector<Answer> replies;
    int result;
    int commands;
    DWORD slept;
    unsigned level;
    const wchar_t* line;
  } cases[] = {
      {"answered",
       kRuns,
       {{1, 0, 0, false, 77}},
       77,
       1,
       0,
       4,
       L"VelSvc_Notify(0x2): Result 77."},
      {"a negative answer",
       kRuns,
       {{1, 0, 0, false, 0xFFFFFFFE}},
       -2,
       1,
       0,
       4,
       L"VelSvc_Notify(0x2): Result -2."},
      {"the pipe comes late",
       kRuns,
       {{5, ERROR_FILE_NOT_FOUND}, {1, 0, 0, false, 9}},
       9,
       6,
       3000,
       4,
       L"VelSvc_Notify(0x2): Result 9."},
      {"the pipe never comes",
       kRuns,
       {kNoPipe},
       0,
       100,
       60000,
       2,
       L"VelSvc_Notify(0x2): Timed out."},
      {"not running, one attempt",
       kNotInstalled,
       {kNoPipe},
       0,
       1,
       0,
       2,
       L"VelSvc_Notify(0x2): Error 2."},
      {"not running, but a console run answers",
       kNotInstalled,
       {{1, 0, 0, false, 5}},
       5,
       1,
       0,
       4,
       L"VelSvc_Notify(0x2): Result 5."},
      {"refused",
       kRuns,
       {{1, ERROR_ACCESS_DENIED}},
       0,
       1,
       0,
       2,
       L"VelSvc_Notify(0x2): Error 5."},
      {"answers 0",
       kRuns,
       {{1, 0}},
       0,
       1,
       0,
       2,
       L"VelSvc_Notify(0x2): Error 0."},
      {"dies between query and call",
       kRuns,
       {{2, ERROR_FILE_NOT_FOUND}, {1, ERROR_BROKEN_PIPE}},
       0,
       3,
       1200,
       2,
       L"VelSvc_Notify(0x2): Error 109."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const test::LogCapture log;
    Script run = {{c.state}, c.replies};
    script = &run;
    EXPECT_EQ(VelSvc_NotifyWith(kCalls, kSvcNotifyTrayStarted, L""), c.result);
    EXPECT_EQ(run.commands, c.commands);
    EXPECT_EQ(run.slept, c.slept);
    EXPECT_TRUE(log.Contains(c.level, c.line));
  }
}

}  // namespace
}  // namespace vel
