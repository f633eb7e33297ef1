#include "channels/PipeConnectionTask.h"

#include <windows.h>

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
  const VelImpersonatePipeClient client(_pipe.get());
  const bool in_time = send(carry_out());
  DisconnectNamedPipe(_pipe.get());
  if (in_time) return;
  VelLog_Print(kLogWarning,
               L"VelPipeServer::ProcessPipeConnection: le=%u read=%u",
               ERROR_TIMEOUT, request_size());
}

// A client that can't be impersonated isn't known, and is refused as well.
std::uint32_t PipeConnectionTask::carry_out() {
  if (ImpersonatedMayActForProcess()) {
    return static_cast<std::uint32_t>(_handler->OnPipeCommand(_command, _args));
  }
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
