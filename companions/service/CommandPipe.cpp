#include "service/CommandPipe.h"

#include <sddl.h>

#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "common/DebugReport.h"
#include "service/Commands.h"
#include "vel/PipeMessage.h"

namespace velsvc {
namespace {

using companion::debug_report;
using companion::SrwLock;
using companion::UniqueHandle;

constexpr wchar_t kProgram[] = L"service";
constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\VelSvc";
// VEL_PIPE_MARKER_FORMAT of that pipe.
constexpr wchar_t kMarkerName[] = L"_VELINTERNAL_PIPE_VelSvc";
// The system and administrators; for reading and writing every user who is
// logged on at the machine, and whoever runs the service by hand.
constexpr wchar_t kPipeSecurity[] =
    L"D:P(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;OW)(A;;GRGW;;;IU)";

constexpr DWORD kLargestMessage = VEL_PIPE_MAX_REQUEST;
// How long a client may take for each of: writing, reading, hanging up.
constexpr DWORD kClientTimeout = 5000;  // ms
constexpr DWORD kReplyRoom = 64;

// Empty, with the last error, when it can't be made. Its end keeps that.
class [[nodiscard]] PipeSecurity {
 public:
  [[nodiscard]] PipeSecurity() {
    ConvertStringSecurityDescriptorToSecurityDescriptorW(
        kPipeSecurity, SDDL_REVISION_1, &_attributes.lpSecurityDescriptor,
        nullptr);
  }
  ~PipeSecurity() {
    const DWORD error = GetLastError();
    LocalFree(_attributes.lpSecurityDescriptor);
    SetLastError(error);
  }
  PipeSecurity(const PipeSecurity&) = delete;
  PipeSecurity& operator=(const PipeSecurity&) = delete;

  explicit operator bool() const {
    return _attributes.lpSecurityDescriptor != nullptr;
  }
  SECURITY_ATTRIBUTES* attributes() { return &_attributes; }

 private:
  SECURITY_ATTRIBUTES _attributes = {sizeof _attributes, nullptr, FALSE};
};

// One overlapped operation at a time on one handle.
class PipeOperation {
 public:
  PipeOperation(HANDLE pipe, HANDLE stop) : _pipe(pipe), _stop(stop) {
    _event.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    _overlapped.hEvent = _event.get();
  }

  // False when it failed, took too long or the service stops.
  bool read(void* buffer, DWORD size, DWORD* count) {
    return finish(ReadFile(_pipe, buffer, size, nullptr, &_overlapped), count);
  }
  bool write(const void* data, DWORD size) {
    DWORD count = 0;
    return finish(WriteFile(_pipe, data, size, nullptr, &_overlapped), &count);
  }

 private:
  bool finish(BOOL done, DWORD* count) {
    if (!done && GetLastError() != ERROR_IO_PENDING) return false;
    const HANDLE handles[] = {_event.get(), _stop};
    if (WaitForMultipleObjects(2, handles, FALSE, kClientTimeout) !=
        WAIT_OBJECT_0) {
      CancelIo(_pipe);
    }
    return GetOverlappedResult(_pipe, &_overlapped, count, TRUE) != FALSE;
  }

  const HANDLE _pipe;
  const HANDLE _stop;
  UniqueHandle _event;
  OVERLAPPED _overlapped = {};
};

std::uint32_t run_command(const std::vector<unsigned char>& message,
                          HANDLE pipe) {
  std::uint32_t command = 0;
  std::memcpy(&command, message.data(), sizeof command);
  std::wstring text((message.size() - VEL_PIPE_MIN_REQUEST) / sizeof(wchar_t),
                    L'\0');
  std::memcpy(text.data(), message.data() + VEL_PIPE_TEXT_OFFSET,
              text.size() * sizeof(wchar_t));
  ULONG client = 0;
  if (!GetNamedPipeClientProcessId(pipe, &client)) {
    debug_report(kProgram, L"finding the client", GetLastError());
  }
  return answer_command(command, text, client);
}

void serve_client(HANDLE pipe, HANDLE stop) {
  std::vector<unsigned char> message(kLargestMessage);
  DWORD size = 0;
  if (!PipeOperation(pipe, stop).read(message.data(), kLargestMessage, &size) ||
      size < VEL_PIPE_MIN_REQUEST) {
    return;
  }
  message.resize(size);
  const std::uint32_t reply = run_command(message, pipe);
  if (!PipeOperation(pipe, stop).write(&reply, sizeof reply)) return;
  // The client hangs up when it has the reply, which a disconnection before
  // that would take from it.
  PipeOperation(pipe, stop).read(message.data(), 1, &size);
}

}  // namespace

struct CommandPipe::Connection {
  CommandPipe* owner;
  UniqueHandle pipe;
};

bool CommandPipe::listen() {
  _connected.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!_connected) return false;
  _instance = make_instance(FILE_FLAG_FIRST_PIPE_INSTANCE);
  if (!_instance) return false;
  PipeSecurity security;
  if (!security) return false;
  _marker.reset(CreateEventW(security.attributes(), TRUE, FALSE, kMarkerName));
  return static_cast<bool>(_marker);
}

UniqueHandle CommandPipe::make_instance(DWORD flags) {
  PipeSecurity security;
  if (!security) return {};
  const HANDLE pipe = CreateNamedPipeW(
      kPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | flags,
      PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS,
      PIPE_UNLIMITED_INSTANCES, kReplyRoom, kLargestMessage, 0,
      security.attributes());
  return UniqueHandle(pipe == INVALID_HANDLE_VALUE ? nullptr : pipe);
}

DWORD CommandPipe::serve() {
  DWORD error = ERROR_SUCCESS;
  while (error == ERROR_SUCCESS) {
    error = wait_for_client();
    if (error == ERROR_SUCCESS) {
      hand_over();
    } else if (error == ERROR_NO_DATA || error == ERROR_BROKEN_PIPE) {
      // A client that has gone again already.
      _instance = make_instance(0);
      error = ERROR_SUCCESS;
    }
    if (!_instance) error = GetLastError();
  }
  _instance.reset();
  wait_for_connections();
  return error == ERROR_OPERATION_ABORTED ? DWORD{ERROR_SUCCESS} : error;
}

// ERROR_OPERATION_ABORTED stands for the stop event.
DWORD CommandPipe::wait_for_client() {
  OVERLAPPED overlapped = {};
  overlapped.hEvent = _connected.get();
  if (ConnectNamedPipe(_instance.get(), &overlapped)) return ERROR_SUCCESS;
  const DWORD error = GetLastError();
  if (error == ERROR_PIPE_CONNECTED) return ERROR_SUCCESS;
  if (error != ERROR_IO_PENDING) return error;
  const HANDLE handles[] = {_stop, _connected.get()};
  if (WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0) {
    CancelIo(_instance.get());
  }
  DWORD count = 0;
  if (GetOverlappedResult(_instance.get(), &overlapped, &count, TRUE)) {
    return ERROR_SUCCESS;
  }
  return GetLastError();
}

// The next instance is made first, so that the name never goes away. When it
// can't be made _instance stays empty, with the last error.
void CommandPipe::hand_over() {
  UniqueHandle connected = std::move(_instance);
  _instance = make_instance(0);
  const DWORD error = GetLastError();
  try {
    auto connection =
        std::make_unique<Connection>(Connection{this, std::move(connected)});
    count_connection(+1);
    if (QueueUserWorkItem(&serve_connection, connection.get(),
                          WT_EXECUTELONGFUNCTION)) {
      static_cast<void>(connection.release());
    } else {
      count_connection(-1);
    }
  } catch (const std::exception&) {
    debug_report(kProgram, L"taking a client", ERROR_NOT_ENOUGH_MEMORY);
  }
  SetLastError(error);
}

DWORD WINAPI CommandPipe::serve_connection(void* parameter) {
  std::unique_ptr<Connection> connection(static_cast<Connection*>(parameter));
  CommandPipe* const owner = connection->owner;
  try {
    serve_client(connection->pipe.get(), owner->_stop);
  } catch (const std::exception&) {
    debug_report(kProgram, L"a command", ERROR_NOT_ENOUGH_MEMORY);
  }
  connection.reset();
  owner->count_connection(-1);
  return 0;
}

void CommandPipe::count_connection(int change) {
  const SrwLock::Scope scope(_lock);
  _served += change;
  if (_served == 0) WakeAllConditionVariable(&_idle);
}

// Whoever counts down holds the lock, so the object outlives its last use.
void CommandPipe::wait_for_connections() {
  SrwLock::Scope scope(_lock);
  while (_served != 0) scope.wait(&_idle);
}

}  // namespace velsvc
