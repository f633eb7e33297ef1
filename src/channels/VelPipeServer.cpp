#include "channels/VelPipeServer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "channels/PipeConnectionTask.h"
#include "channels/PipeMarker.h"
#include "channels/VelPipeClient.h"
#include "log/VelLog.h"
#include "security/Descriptors.h"
#include "sync/ThreadPriority.h"
#include "sync/Trap.h"
#include "vel/PipeMessage.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\VelPipeServer";
constexpr DWORD kDefaultTimeout = 0xFFFFFFFF;
constexpr DWORD kInstanceRetry = 500;  // ms
// How long Stop waits before it sends the exit command again: all instances may
// have been busy.
constexpr DWORD kExitRetry = 1000;  // ms
// What a client has for its request, and for fetching its reply.
constexpr DWORD kClientPatience = 5000;  // ms
// The same once the server stops.
constexpr DWORD kStopPatience = 500;  // ms
// Requests that are read at once.
constexpr LONG kReaders = 32;

using Wait = ClientWaits::Kind;

HANDLE create_pipe(const wchar_t* name, SECURITY_ATTRIBUTES* security) {
  return CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX,
                          PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT,
                          PIPE_UNLIMITED_INSTANCES, 0, 0, kDefaultTimeout,
                          security);
}

// A client that came before the call counts.
bool wait_for_client(HANDLE pipe) {
  SetLastError(ERROR_SUCCESS);
  return ConnectNamedPipe(pipe, nullptr) ||
         GetLastError() == ERROR_PIPE_CONNECTED;
}

// Nothing else may read from the pipe meanwhile: the look would wait for it.
bool is_silent(HANDLE pipe) {
  DWORD available = 0;
  return PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) &&
         available == 0;
}

// False, with ERROR_TIMEOUT for a client that was silent for too long.
bool read_request(HANDLE pipe, ClientWaits& waits, std::byte* request,
                  DWORD& read) {
  const ClientWaits::Call call(waits, Wait::kRequest);
  if (ReadFile(pipe, request, VEL_PIPE_MAX_REQUEST, &read, nullptr)) {
    return true;
  }
  if (call.expired() && GetLastError() == ERROR_OPERATION_ABORTED) {
    SetLastError(ERROR_TIMEOUT);
  }
  return false;
}

void answer_exit_command(HANDLE pipe, ClientWaits& waits) {
  {
    const ClientWaits::Call call(waits, Wait::kReply);
    DWORD written = 0;
    WriteFile(pipe, &VEL_PIPE_EXIT_COMMAND, sizeof(VEL_PIPE_EXIT_COMMAND),
              &written, nullptr);
  }
  DisconnectNamedPipe(pipe);
}

DWORD take_off(DWORD left, DWORD passed) {
  if (left == INFINITE) return INFINITE;
  return left - std::min(left, passed);
}

// `size` is that of the whole request. Half a code unit at the end is dropped.
std::wstring text_of(const std::byte* request, std::size_t size) {
  std::wstring text((size - VEL_PIPE_MIN_REQUEST) / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), request + VEL_PIPE_TEXT_OFFSET,
              text.size() * sizeof(wchar_t));
  return text;
}

}  // namespace

// Has one request read, in one of the places for that.
class VelPipeServer::RequestTask final : public CountedPoolTask {
 public:
  // The caller has taken the place, which the destructor gives back.
  RequestTask(VelPipeServer* server, ScopedFileHandle pipe)
      : CountedPoolTask(&server->_tasks),
        _server(server),
        _pipe(std::move(pipe)) {}
  ~RequestTask() override {
    ReleaseSemaphore(_server->_readers.get(), 1, nullptr);
  }

 protected:
  void run() override {
    const ThreadPriorityScope priority(THREAD_PRIORITY_HIGHEST);
    if (!_server->ProcessPipeConnection(std::move(_pipe))) _server->end_loop();
  }

 private:
  VelPipeServer* const _server;
  ScopedFileHandle _pipe;
};

VelPipeServer::VelPipeServer(PipeCommandHandler* handler) : _handler(handler) {}

VelPipeServer::~VelPipeServer() {
  _stopping = true;
  if (is_running()) vel_trap();
  static_cast<void>(_tasks.Wait(INFINITE));
}

bool VelPipeServer::Start() {
  if (is_running()) vel_trap();
  const SharedHandle started(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!started) vel_trap();
  HANDLE none = nullptr;
  if (!_started_event.compare_exchange_strong(none, started.get())) vel_trap();
  _stopping = false;
  _waits.Limit(Wait::kConnect, INFINITE);
  _waits.Limit(Wait::kRequest, kClientPatience);
  _waits.Limit(Wait::kReply, kClientPatience);
  // A pool that doesn't take the loop leaves it idle, which ends the wait.
  if (!start()) VEL_LOG_WIN32_CALL();
  const HANDLE either[] = {started.get(), done_event()};
  const DWORD first = WaitForMultipleObjects(2, either, FALSE, INFINITE);
  _started_event = nullptr;
  return first == WAIT_OBJECT_0;
}

bool VelPipeServer::Stop(DWORD timeout_ms) {
  _stopping = true;
  _waits.Limit(Wait::kRequest, kStopPatience);
  _waits.Limit(Wait::kReply, kStopPatience);
  if (!is_running()) return _tasks.Wait(INFINITE);
  DWORD left = timeout_ms;
  for (;;) {
    left = take_off(left, send_exit_command(std::min(kExitRetry, left)));
    const DWORD round = std::min(kExitRetry, left);
    if (WaitForSingleObject(done_event(), round) != WAIT_TIMEOUT) break;
    if (timeout_ms != INFINITE && left <= round) return false;
    left = take_off(left, round);
  }
  if (!_tasks.Wait(left)) return false;
  _pipe_name[0] = L'\0';
  return true;
}

// The command may find all instances taken, or others before it. The loop ends
// all the same.
DWORD VelPipeServer::send_exit_command(DWORD limit) {
  const DWORD start = GetTickCount();
  _waits.Limit(Wait::kExit, limit);
  {
    const ClientWaits::Call call(_waits, Wait::kExit);
    if (!call.expired()) {
      VelPipeCommandOnce(_pipe_name, VEL_PIPE_EXIT_COMMAND, L"");
    }
  }
  end_loop();
  return GetTickCount() - start;
}

void VelPipeServer::end_loop() {
  _stopping = true;
  _waits.Limit(Wait::kConnect, 0);
}

void VelPipeServer::run() {
  const ThreadPriorityScope priority(THREAD_PRIORITY_HIGHEST);
  if (!prepare()) {
    VEL_LOG_WIN32_CALL();
    return;
  }
  ScopedFileHandle current = CreatePipeInstance();
  if (!current) return;
  const SharedHandle marker(create_pipe_marker(_pipe_name, &_security));
  SetEvent(_started_event);
  while (current) current = serve_instance(std::move(current));
}

bool VelPipeServer::prepare() {
  if (!_readers) {
    _readers.reset(CreateSemaphoreW(nullptr, kReaders, kReaders, nullptr));
  }
  return _readers && _waits.Prepare();
}

// The next instance is made before the client's request is read, so that the
// next client finds one that listens. The two failures differ on purpose: a
// pipe that can't even wait for clients ends the server with its last
// instance, while one that works is kept alive. Most clients have sent their
// request by now; only one that hasn't is left to another thread.
ScopedFileHandle VelPipeServer::serve_instance(ScopedFileHandle current) {
  bool connected = false;
  {
    const ClientWaits::Call call(_waits, Wait::kConnect);
    if (!call.expired()) connected = wait_for_client(current.get());
    if (call.expired() && !connected) return {};
  }
  ScopedFileHandle next = CreatePipeInstance();
  if (!connected) return next;
  if (is_silent(current.get())) {
    queue_request(std::move(current));
  } else if (!ProcessPipeConnection(std::move(current))) {
    return {};
  }
  return next ? std::move(next) : retry_instance();
}

// When all places are taken the client that has been silent for longest loses
// its own. A task that hasn't begun to read can't be dropped yet.
void VelPipeServer::queue_request(ScopedFileHandle pipe) {
  while (WaitForSingleObject(_readers.get(), 0) != WAIT_OBJECT_0) {
    _waits.DropOldest(Wait::kRequest);
    if (WaitForSingleObject(_readers.get(), ClientWaits::kCrowdPatience) ==
        WAIT_OBJECT_0) {
      break;
    }
  }
  start_task(std::make_unique<RequestTask>(this, std::move(pipe)));
}

ScopedFileHandle VelPipeServer::retry_instance() {
  ScopedFileHandle next = CreatePipeInstance();
  while (!next && !_stopping) {
    Sleep(kInstanceRetry);
    next = CreatePipeInstance();
  }
  return next;
}

ScopedFileHandle VelPipeServer::CreatePipeInstance() {
  if (_pipe_name[0] == L'\0') {
    GetPipeName(_pipe_name, kPipeNameSize);
    _pipe_name[kPipeNameSize - 1] = L'\0';
    if (_pipe_name[0] == L'\0') return {};
  }
  if (_security.lpSecurityDescriptor == nullptr) {
    _security.lpSecurityDescriptor = GetSecurityDescriptorUserLow();
  }
  ScopedFileHandle pipe(create_pipe(_pipe_name, &_security));
  if (!pipe) pipe.reset(create_pipe(_pipe_name, nullptr));
  if (!pipe) {
    VelLog_Print(kLogError,
                 L"VelPipeServer::CreatePipeInstance: le=%u _pipe_name='%s'",
                 GetLastError(), _pipe_name);
  }
  return pipe;
}

bool VelPipeServer::ProcessPipeConnection(ScopedFileHandle pipe) {
  std::byte request[VEL_PIPE_MAX_REQUEST];
  DWORD read = 0;
  if (!read_request(pipe.get(), _waits, request, read) ||
      read < VEL_PIPE_MIN_REQUEST) {
    pipe.reset();
    VelLog_Print(kLogWarning,
                 L"VelPipeServer::ProcessPipeConnection: le=%u read=%u",
                 GetLastError(), read);
    return true;
  }
  std::uint32_t command = 0;
  std::memcpy(&command, request, sizeof(command));
  if (command == VEL_PIPE_EXIT_COMMAND) {
    answer_exit_command(pipe.get(), _waits);
    pipe.reset();
    VelLog_Print(kLogTrace,
                 L"VelPipeServer::ProcessPipeConnection: got exit command");
    return false;
  }
  start_task(std::make_unique<PipeConnectionTask>(
      &_tasks, std::move(pipe), command, text_of(request, read), _handler,
      &_waits));
  return true;
}

// The pool that takes no task leaves its client without a reply: the pipe is
// closed with the task.
void VelPipeServer::start_task(std::unique_ptr<CountedPoolTask> task) {
  if (task->start()) {
    static_cast<void>(task.release());
  } else {
    VEL_LOG_WIN32_CALL();
  }
}

}  // namespace vel
