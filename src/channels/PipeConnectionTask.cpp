#include "channels/PipeConnectionTask.h"

#include <windows.h>

#include <utility>

#include "security/Impersonator.h"
#include "sync/ThreadPriority.h"

namespace vel {

PipeConnectionTask::PipeConnectionTask(ActiveTaskCounter* counter,
                                       ScopedFileHandle pipe,
                                       std::uint32_t command, std::wstring args,
                                       PipeCommandHandler* handler)
    : CountedPoolTask(counter),
      _pipe(std::move(pipe)),
      _command(command),
      _args(std::move(args)),
      _handler(handler) {}

// A client that can't be impersonated is served all the same, as the process:
// whoever may open the pipe may give its commands. A client that is gone gets
// no reply, and nobody is there to be told.
void PipeConnectionTask::run() {
  const ThreadPriorityScope priority(THREAD_PRIORITY_HIGHEST);
  const VelImpersonatePipeClient client(_pipe.get());
  const auto reply =
      static_cast<std::uint32_t>(_handler->OnPipeCommand(_command, _args));
  DWORD written = 0;
  WriteFile(_pipe.get(), &reply, sizeof(reply), &written, nullptr);
  // A disconnect throws away what the client hasn't read yet.
  FlushFileBuffers(_pipe.get());
  DisconnectNamedPipe(_pipe.get());
}

}  // namespace vel
