#ifndef VEL_CHANNELS_PIPECONNECTIONTASK_H_
#define VEL_CHANNELS_PIPECONNECTIONTASK_H_

#include <cstdint>
#include <string>

#include "channels/CountedPoolTask.h"
#include "channels/PipeCommandHandler.h"
#include "sync/ScopedHandle.h"

namespace vel {

// One request that a pipe server has read: runs the command as the client,
// replies and hangs up. A client that doesn't fetch its reply keeps the pool
// thread until it closes its end.
class PipeConnectionTask final : public CountedPoolTask {
 public:
  // Takes over `pipe`, the server's end. `counter` and `handler` aren't owned
  // and outlive the task.
  PipeConnectionTask(ActiveTaskCounter* counter, ScopedFileHandle pipe,
                     std::uint32_t command, std::wstring args,
                     PipeCommandHandler* handler);

 protected:
  void run() override;

 private:
  const ScopedFileHandle _pipe;
  const std::uint32_t _command;
  const std::wstring _args;
  PipeCommandHandler* const _handler;
};

}  // namespace vel

#endif  // VEL_CHANNELS_PIPECONNECTIONTASK_H_
