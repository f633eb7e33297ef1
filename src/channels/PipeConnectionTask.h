#ifndef VEL_CHANNELS_PIPECONNECTIONTASK_H_
#define VEL_CHANNELS_PIPECONNECTIONTASK_H_

#include <cstdint>
#include <string>

#include "channels/ClientWaits.h"
#include "channels/CountedPoolTask.h"
#include "channels/PipeCommandHandler.h"
#include "sync/ScopedHandle.h"

namespace vel {

// One request that a pipe server has read: runs the command as the client,
// replies and hangs up. A client that doesn't fetch its reply in its time is
// dropped, and one that has no right to command this process is refused; both
// are logged.
class PipeConnectionTask final : public CountedPoolTask {
 public:
  // Takes over `pipe`, the server's end. `counter`, `handler` and `waits`,
  // which has the time for the reply, aren't owned and outlive the task.
  PipeConnectionTask(ActiveTaskCounter* counter, ScopedFileHandle pipe,
                     std::uint32_t command, std::wstring args,
                     PipeCommandHandler* handler, ClientWaits* waits);

 protected:
  void run() override;

 private:
  // The reply to the command, which it runs if it may.
  std::uint32_t carry_out();
  // Logs the last error, which tells why the client may not act.
  std::uint32_t refuse();
  // False when the client hasn't fetched it in its time.
  bool send(std::uint32_t reply);
  [[nodiscard]] unsigned request_size() const;

  const ScopedFileHandle _pipe;
  const std::uint32_t _command;
  const std::wstring _args;
  PipeCommandHandler* const _handler;
  ClientWaits* const _waits;
};

}  // namespace vel

#endif  // VEL_CHANNELS_PIPECONNECTIONTASK_H_
