#include "channels/VelPipeServer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
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

void answer_exit_command(HANDLE pipe) {
  DWORD written = 0;
  WriteFile(pipe, &VEL_PIPE_EXIT_COMMAND, sizeof(VEL_PIPE_EXIT_COMMAND),
            &written, nullptr);
  DisconnectNamedPipe(pipe);
}

// `size` is that of the whole request. Half a code unit at the end is dropped.
std::wstring text_of(const std::byte* request, std::size_t size) {
  std::wstring text((size - VEL_PIPE_MIN_REQUEST) / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), request + VEL_PIPE_TEXT_OFFSET,
              text.size() * sizeof(wchar_t));
  return text;
}

}  // namespace

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
  // A pool that doesn't take the loop leaves it idle, which ends the wait.
  if (!start()) VEL_LOG_WIN32_CALL();
  const HANDLE either[] = {started.get(), done_event()};
  const DWORD first = WaitForMultipleObjects(2, either, FALSE, INFINITE);
  _started_event = nullptr;
  return first == WAIT_OBJECT_0;
}

bool VelPipeServer::Stop(DWORD timeout_ms) {
  _stopping = true;
  if (!is_running()) return _tasks.Wait(INFINITE);
  DWORD left = timeout_ms;
  for (;;) {
    VelPipeCommand(_pipe_name, VEL_PIPE_EXIT_COMMAND, L"", false);
    const DWORD round = std::min(kExitRetry, left);
    if (WaitForSingleObject(done_event(), round) != WAIT_TIMEOUT) break;
    if (timeout_ms == INFINITE) continue;
    if (left <= round) return false;
    left -= round;
  }
  if (!_tasks.Wait(left)) return false;
  _pipe_name[0] = L'\0';
  return true;
}

void VelPipeServer::run() {
  const ThreadPriorityScope priority(THREAD_PRIORITY_HIGHEST);
  ScopedFileHandle current = CreatePipeInstance();
  if (!current) return;
  const SharedHandle marker(create_pipe_marker(_pipe_name, &_security));
  SetEvent(_started_event);
  while (current) current = serve_instance(std::move(current));
}

// The next instance is made before the client's request is read, so that the
// next client finds one that listens. The two failures differ on purpose: a
// pipe that can't even wait for clients ends the server with its last
// instance, while one that works is kept alive.
ScopedFileHandle VelPipeServer::serve_instance(ScopedFileHandle current) {
  const bool connected = wait_for_client(current.get());
  ScopedFileHandle next = CreatePipeInstance();
  if (!connected) return next;
  if (!ProcessPipeConnection(std::move(current))) return {};
  return next ? std::move(next) : retry_instance();
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
  if (!ReadFile(pipe.get(), request, sizeof(request), &read, nullptr) ||
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
    answer_exit_command(pipe.get());
    pipe.reset();
    VelLog_Print(kLogTrace,
                 L"VelPipeServer::ProcessPipeConnection: got exit command");
    return false;
  }
  queue_command(std::move(pipe), command, text_of(request, read));
  return true;
}

// The pool that takes no command leaves its client without a reply: the pipe is
// closed with the task.
void VelPipeServer::queue_command(ScopedFileHandle pipe, std::uint32_t command,
                                  std::wstring args) {
  auto task = std::make_unique<PipeConnectionTask>(
      &_tasks, std::move(pipe), command, std::move(args), _handler);
  if (task->start()) {
    static_cast<void>(task.release());
  } else {
    VEL_LOG_WIN32_CALL();
  }
}

}  // namespace vel
