#include "channels/PipeConnectionTask.h"

#include <windows.h>

#include <optional>
#include <utility>

#include "log/VelLog.h"
#include "security/ClientRights.h"
#include "security/Impersonator.h"
#include "sync/ThreadPriority.h"
#include "vel/PipeMessage.h"

namespace vel {

PipeConnectionTask::PipeConnectionTask(ActiveTaskCounter* counter,
                                       ScopedFileHandle pipe,
                                       std::uint32_t command, std::wstring args,
                                       PipeCommandHandler* handler,
                                       ClientWaits* waits)
    : CountedPoolTask(counter),
      _pipe(std::move(pipe)),
      _command(command),
      _args(std::move(args)),
      _handler(handler),
      _waits(waits) {}

// A client that is gone gets no reply, and nobody is there to be told.
void PipeConnectionTask::run() {
  const ThreadPriorityScope priority(THREAD_PRIORITY_HIGHEST);
  std::optional<VelImpersonatePipeClient> client(std::in_place, _pipe.get());
  const bool may_act =
      client->impersonating() && ImpersonatedMayActForProcess();
  // The log's file is opened as the process, not as a client without rights.
  if (!may_act) {
    const DWORD error = GetLastError();
    client.reset();
    SetLastError(error);
  }
  const bool in_time = send(may_act ? carry_out() : refuse());
  client.reset();
  DisconnectNamedPipe(_pipe.get());
  if (in_time) return;
  VelLog_Print(kLogWarning,
               L"VelPipeServer::ProcessPipeConnection: le=%u read=%u",
               ERROR_TIMEOUT, request_size());
}

std::uint32_t PipeConnectionTask::carry_out() {
  return static_cast<std::uint32_t>(_handler->OnPipeCommand(_command, _args));
}

// A client that can't be impersonated isn't known, and is refused as well.
std::uint32_t PipeConnectionTask::refuse() {
  VelLog_Print(kLogWarning,
               L"PipeConnectionTask: command %u of another user refused, le=%u",
               _command, GetLastError());
  return 0;
}

// A disconnect throws away what the client hasn't read yet, so it is waited
// for.
bool PipeConnectionTask::send(std::uint32_t reply) {
  const ClientWaits::Call call(*_waits, ClientWaits::Kind::kReply);
  DWORD written = 0;
  WriteFile(_pipe.get(), &reply, sizeof(reply), &written, nullptr);
  FlushFileBuffers(_pipe.get());
  return !call.expired();
}

unsigned PipeConnectionTask::request_size() const {
  return static_cast<unsigned>(VEL_PIPE_MIN_REQUEST +
                               _args.size() * sizeof(wchar_t));
}

}  // namespace vel
