#include "channels/ClientWaits.h"

#include <deque>

#include "channels/PipeConnectionTask.h"
#include "support/LogCapture.h"
#include "support/Threads.h"

namespace vel {
namespace {

using Kind = ClientWaits::Kind;
using test::WaitUntil;

class Pipe {
 public:
  Pipe() { EXPECT_TRUE(CreatePipe(_from.put(), _to.put(), nullptr, 0)); }
  // The last error of the read of one byte.
  DWORD Read() const {
    char byte = 0;
    DWORD read = 0;
    const bool done = ReadFile(_from.get(), &byte, 1, &read, nullptr);
    return done ? ERROR_SUCCESS : GetLastError();
  }
  void Write() const {
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(_to.get(), "x", 1, &written, nullptr));
  }

 private:
  ScopedHandle _from, _to;
};

TEST(ClientWaits, EndsTheCallWhoseTimeIsUpAndNoOther) {
  ClientWaits waits;
  ASSERT_TRUE(waits.Prepare());
  waits.Limit(Kind::kRequest, 1);
  test::RunTogether(4, [&](int) {
    const Pipe pipe;
    for (int i = 0; i < 40; ++i) {
      {
        const ClientWaits::Call call(waits, Kind::kRequest);
        Sleep(i % 4 * 7);  // The time may be up before the read begins.
        EXPECT_EQ(pipe.Read(), DWORD{ERROR_OPERATION_ABORTED});
        EXPECT_TRUE(call.expired());
      }
      std::jthread writer([&] {
        Sleep(i % 3 * 5);
        pipe.Write();
      });
      EXPECT_EQ(pipe.Read(), DWORD{ERROR_SUCCESS});
    }
  });
}

// A thread that reads until its call is ended or it is let go.
class Reader {
 public:
  Reader(ClientWaits& waits, Kind kind)
      : _thread([this, &waits, kind] {
          const ClientWaits::Call call(waits, kind);
          _begun = true;
          _pipe.Read();
          _expired = call.expired();
          _done = true;
        }) {
    EXPECT_TRUE(WaitUntil([this] { return _begun.load(); }));
  }
  ~Reader() {
    _pipe.Write();
    _thread.join();
  }
  bool done() const { return _done; }
  bool expired() const { return _expired; }

 private:
  const Pipe _pipe;
  std::atomic<bool> _begun = false, _expired = false, _done = false;
  std::thread _thread;
};

TEST(ClientWaits, ShortensWhatIsUnderWay) {
  ClientWaits waits;
  ASSERT_TRUE(waits.Prepare());
  Reader first(waits, Kind::kRequest), second(waits, Kind::kRequest),
      other(waits, Kind::kConnect);
  waits.DropOldest(Kind::kRequest);
  EXPECT_TRUE(WaitUntil([&] { return first.done(); }));
  EXPECT_TRUE(first.expired());
  EXPECT_FALSE(second.done());
  waits.Limit(Kind::kRequest, 0);
  EXPECT_TRUE(WaitUntil([&] { return second.done(); }));
  EXPECT_TRUE(ClientWaits::Call(waits, Kind::kRequest).expired());
  EXPECT_FALSE(other.done());
}

TEST(ClientWaits, TheOldestRepliesGoWhenThereIsACrowd) {
  ClientWaits waits;
  ASSERT_TRUE(waits.Prepare());
  std::deque<Reader> replies;
  for (unsigned i = 0; i < ClientWaits::kCrowd; ++i) {
    replies.emplace_back(waits, Kind::kReply);
  }
  Sleep(2 * ClientWaits::kCrowdPatience);
  EXPECT_FALSE(replies[0].done());
  for (int more = 0; more < 2; ++more) {
    replies.emplace_back(waits, Kind::kReply);
    EXPECT_TRUE(WaitUntil([&] { return replies[more].expired(); }));
    EXPECT_FALSE(replies[more + 1].done());
  }
}

class NeverCalled final : public PipeCommandHandler {
  std::intptr_t OnPipeCommand(std::uint32_t, const std::wstring&) override {
    ADD_FAILURE();
    return 1;
  }
};

// What isn't a pipe can't be impersonated; it takes the reply like one.
TEST(PipeConnectionTask, AClientThatIsNotKnownIsAnsweredZero) {
  const test::LogCapture log;
  const test::ScratchDirectory scratch;
  ScopedFileHandle file(CreateFileW(scratch.File(L"reply").c_str(),
                                    GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0,
                                    nullptr));
  NeverCalled handler;
  ClientWaits waits;
  {
    ActiveTaskCounter counter;
    ASSERT_TRUE((new PipeConnectionTask(&counter, std::move(file), 1, L"text",
                                        &handler, &waits))
                    ->start());
  }
  EXPECT_EQ(scratch.Read(L"reply"), std::string(4, '\0'));
  EXPECT_TRUE(log.Contains(2, L"command 1 of another user refused, le="));
}

}  // namespace
}  // namespace vel
