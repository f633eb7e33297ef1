#include "channels/VelPipeServer.h"

#include <future>

#include "channels/VelPipeClient.h"
#include "foundation/Text.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/PipeClients.h"
#include "support/Threads.h"
#include "vel/PipeMessage.h"

namespace vel {
namespace {

using test::LogCapture;
using Client = test::PipeClient;
using test::WaitUntil;

std::wstring NewName() {
  static unsigned names = 0;
  return FormatWide(L"\\\\.\\pipe\\VELTest_%u_%u", GetCurrentProcessId(),
                    ++names);
}

class Server final : public VelPipeServer, public PipeCommandHandler {
 public:
  using Answer = std::function<std::intptr_t(const std::wstring&)>;

  explicit Server(Answer answer)
      : VelPipeServer(static_cast<PipeCommandHandler*>(this)),
        _answer(std::move(answer)) {}
  ~Server() override { Stop(INFINITE); }

  std::wstring name = NewName();

 private:
  void GetPipeName(wchar_t* buffer, std::size_t size) override {
    wcsncpy(buffer, name.c_str(), size);
  }
  std::intptr_t OnPipeCommand(std::uint32_t command,
                              const std::wstring& args) override {
    return command == 7 ? _answer(args) : command;
  }

  const Answer _answer;
};

// Holds the commands that come until it is opened.
class Gate {
 public:
  std::intptr_t Pass() {
    ++_waiting;
    WaitForSingleObject(_open.get(), INFINITE);
    return 1;
  }
  bool WaitFor(int commands) {
    return WaitUntil([&] { return _waiting == commands; });
  }
  void Open() { SetEvent(_open.get()); }

 private:
  const ScopedHandle _open{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  std::atomic<int> _waiting{0};
};

std::uint32_t Call(const Server& server, const std::wstring& text = {}) {
  return VelPipeCommand(server.name, 7, text, false);
}

// Goes on to hold its end when it has sent a command.
VEL_CHILD_MAIN(SendsAndHolds) {
  Client client(argument);
  client.Send(7, 8);
  Sleep(INFINITE);
  return 0;
}

TEST(VelPipeServer, ServesRequestsOfLegalSizesAndDropsTheOthers) {
  const LogCapture log;
  // Only the low half of the result goes out.
  Server server([](const std::wstring& args) {
    EXPECT_EQ(args, std::wstring(args.size(), L'A'));
    return 0x100000000 + std::intptr_t(args.size());
  });
  ASSERT_TRUE(server.Start());
  for (const auto& [size, reply] :
       {std::pair<std::size_t, std::optional<std::uint32_t>>{1, {}},
        {7, {}},
        {8, 0},
        {9, 0},
        {10, 1},
        {0x40000, 0x1FFFC},
        {0x40001, {}},
        {0x80000, {}}}) {
    EXPECT_EQ(Client(server.name).Send(7, size).Reply(), reply) << size;
  }
  const std::wstring line = L"VelPipeServer::ProcessPipeConnection: le=";
  EXPECT_TRUE(log.Contains(2, line));
  EXPECT_TRUE(log.Contains(2, L" read=7"));
  EXPECT_TRUE(log.Contains(2, line + L"234 read=262144"));
  EXPECT_EQ(Call(server, L"AAA"), 3u);
}

TEST(VelPipeServer, SurvivesItsClients) {
  const LogCapture log;
  Gate gate;
  Server server(
      [&](const std::wstring& args) { return args.empty() ? gate.Pass() : 5; });
  ASSERT_TRUE(server.Start());
  Client says_nothing(server.name);
  // Finds an instance only when the server has taken the client before it.
  Client gone(server.name);
  says_nothing.Close();
  EXPECT_TRUE(WaitUntil([&] { return log.Contains(2, L" read=0"); }));
  gone.Send(7, 8);
  test::ChildProcess child(L"SendsAndHolds", server.name);
  Client never_reads(server.name);
  never_reads.Send(7, 8);
  ASSERT_TRUE(gate.WaitFor(3));
  gone.Close();
  child.Kill();
  gate.Open();
  EXPECT_EQ(Call(server, L"x"), 5u);
  EXPECT_FALSE(server.Stop(100));  // The reply that isn't fetched.
  never_reads.Close();
  EXPECT_TRUE(server.Stop(INFINITE));
}

TEST(VelPipeServer, ServesManyClientsAtOnce) {
  Server server([](const std::wstring& args) { return _wtoi(args.c_str()); });
  ASSERT_TRUE(server.Start());
  std::atomic<int> wrong{0};
  test::RunTogether(16, [&](int client) {
    for (int i = 1; i <= 250; ++i) {
      const std::wstring text = FormatWide(L"%i", client * 1000 + i);
      std::uint32_t reply = 0;
      // A client can lose the race for the listening instance 30 times.
      do {
        reply = Call(server, text);
      } while (reply == 0 && GetLastError() == ERROR_PIPE_BUSY);
      if (reply != std::uint32_t(client * 1000 + i)) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
}

TEST(VelPipeServer, EndsByTheExitCommandButAnswersWhatRuns) {
  const LogCapture log;
  Gate gate;
  Server server([&](const std::wstring&) { return gate.Pass(); });
  for (int round = 1; round <= 2; ++round) {
    ASSERT_TRUE(server.Start());
    auto running = std::async(std::launch::async, [&] { return Call(server); });
    ASSERT_TRUE(gate.WaitFor(round));
    EXPECT_EQ(VelPipeCommand(server.name, 0xFFFFFFFF, L"text", false),
              0xFFFFFFFF);
    EXPECT_TRUE(WaitUntil([&] { return !server.is_running(); }));
    gate.Open();
    EXPECT_TRUE(server.Stop(0));  // No loop: the time doesn't count.
    EXPECT_EQ(running.get(), 1u);
  }
  EXPECT_TRUE(log.Contains(
      1, L"VelPipeServer::ProcessPipeConnection: got exit command"));
}

TEST(VelPipeServer, ARequestMayComeLate) {
  Server server([](const std::wstring&) { return 5; });
  ASSERT_TRUE(server.Start());
  Client command(server.name), exit(server.name);
  // Served after both have been found silent.
  EXPECT_EQ(Call(server), 5u);
  EXPECT_EQ(command.Send(7, 8).Reply(), 5u);
  EXPECT_EQ(exit.Send(0xFFFFFFFF, 8).Reply(), 0xFFFFFFFF);
  EXPECT_TRUE(WaitUntil([&] { return !server.is_running(); }));
}

TEST(VelPipeServer, StopsInTimeOrSaysSo) {
  for (const DWORD timeout : {0, 50}) {
    Gate gate;
    Server server([&](const std::wstring&) { return gate.Pass(); });
    EXPECT_TRUE(server.Stop(timeout));
    ASSERT_TRUE(server.Start());
    auto running = std::async(std::launch::async, [&] { return Call(server); });
    ASSERT_TRUE(gate.WaitFor(1));
    EXPECT_FALSE(server.Stop(timeout));
    auto stopped =
        std::async(std::launch::async, [&] { return server.Stop(INFINITE); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)),
              std::future_status::timeout);
    gate.Open();
    EXPECT_TRUE(stopped.get());
    EXPECT_TRUE(server.Stop(timeout));
    EXPECT_EQ(running.get(), 1u);
  }
}

constexpr std::uint32_t kNothing = 0;

TEST(VelPipeServer, AClientThatWaitsHoldsUpNeitherOthersNorTheEnd) {
  for (const DWORD timeout : {DWORD{1500}, DWORD{INFINITE}}) {
    for (const std::uint32_t sent : {kNothing, 7u, 0xFFFFFFFFu}) {
      Server server([](const std::wstring&) { return 5; });
      ASSERT_TRUE(server.Start());
      Client waits(server.name);
      if (sent != kNothing) waits.Send(sent, 8);
      // The exit command ends the server for the others as well.
      if (sent != 0xFFFFFFFF) {
        EXPECT_EQ(Call(server), 5u);
      }
      const ULONGLONG start = GetTickCount64();
      EXPECT_TRUE(server.Stop(timeout));
      EXPECT_LE(GetTickCount64() - start, 1500u) << sent;
    }
  }
}

TEST(VelPipeServer, DropsClientsThatTakeTooLong) {
  const LogCapture log;
  Server server([](const std::wstring&) { return 5; });
  ASSERT_TRUE(server.Start());
  const ULONGLONG start = GetTickCount64();
  Client silent(server.name);
  Client never_reads(server.name);
  never_reads.Send(7, 12);
  EXPECT_EQ(silent.Reply(), std::nullopt);
  EXPECT_GE(GetTickCount64() - start, 4900u);
  const std::wstring line = L"VelPipeServer::ProcessPipeConnection: le=1460 ";
  EXPECT_TRUE(WaitUntil([&] {
    return log.Contains(2, line + L"read=0") &&
           log.Contains(2, line + L"read=12");
  }));
  EXPECT_EQ(never_reads.Reply(), std::nullopt);
}

struct EmptyTask final : VelTask {
  void run() override {}
};

TEST(VelPipeServer, AnswersTheLastOfManyAndLeavesThePoolToOthers) {
  Server server([](const std::wstring&) { return 5; });
  ASSERT_TRUE(server.Start());
  const std::vector<Client> clients = test::HostileClients(server.name, 500, 7);
  const ULONGLONG start = GetTickCount64();
  EmptyTask task;
  ASSERT_TRUE(task.start());
  EXPECT_TRUE(task.wait());
  EXPECT_LE(GetTickCount64() - start, 2000u);
  EXPECT_EQ(Call(server), 5u);
  EXPECT_LE(GetTickCount64() - start, 10000u);
}

// The level at which a thread impersonates, -1 for none, and its priority.
std::pair<int, int> StateOf(HANDLE thread) {
  ScopedHandle token;
  int level = -1;
  DWORD size = 0;
  if (OpenThreadToken(thread, TOKEN_QUERY, TRUE, token.put())) {
    GetTokenInformation(token.get(), TokenImpersonationLevel, &level, 4, &size);
  }
  return {level, GetThreadPriority(thread)};
}

TEST(VelPipeServer, RunsCommandsAsTheClientAndIsItselfAgain) {
  ScopedHandle thread;
  std::pair<int, int> inside;
  Server server([&](const std::wstring&) {
    thread.reset(
        OpenThread(THREAD_QUERY_INFORMATION, FALSE, GetCurrentThreadId()));
    inside = StateOf(GetCurrentThread());
    return 1;
  });
  ASSERT_TRUE(server.Start());
  EXPECT_EQ(Call(server), 1u);
  EXPECT_TRUE(server.Stop(INFINITE));
  EXPECT_EQ(inside, std::pair(int{SecurityImpersonation}, 2)) << "highest";
  EXPECT_EQ(StateOf(thread.get()), std::pair(-1, THREAD_PRIORITY_NORMAL));
}

TEST(VelPipeServer, IsFoundAndTrustedWhileItRuns) {
  const LogCapture log;
  Server server([](const std::wstring&) { return 1; });
  EXPECT_FALSE(VelPipeServerIsRunning(server.name));
  EXPECT_EQ(VelPipeCommand(server.name, 7, L"t", true), 0u);
  EXPECT_TRUE(log.Contains(3, FormatWide(L"VelPipeCommand('%s', 0x7, 't') - "
                                         L"security le=0xc0000034",
                                         server.name.c_str())));
  ASSERT_TRUE(server.Start());
  EXPECT_TRUE(VelPipeServerIsRunning(server.name));
  EXPECT_TRUE(VelPipeServerIsTrusted(server.name));
}

}  // namespace
}  // namespace vel
