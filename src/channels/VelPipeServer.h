// The server side of the pipe protocol of vel/PipeMessage.h: one request, one
// 32-bit reply, hang up.
#ifndef VEL_CHANNELS_VELPIPESERVER_H_
#define VEL_CHANNELS_VELPIPESERVER_H_

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "channels/ActiveTaskCounter.h"
#include "channels/PipeCommandHandler.h"
#include "sync/ScopedHandle.h"
#include "sync/VelTask.h"

namespace vel {

// Owns a named pipe with as many instances as there are callers. A derived
// class gives the pipe's name; the commands go to the handler, each on a pool
// thread of its own that runs as the client; what the handler has other threads
// do runs as the process. One more pool thread listens and reads the requests,
// one after another: a client that connects and sends nothing holds up those
// behind it.
//
// The pipe is open to the user, the administrators and low-integrity clients.
// Where that can't be set up the pipe has the process's default security: a
// working pipe is preferred to a secured one. Whoever may open it may end the
// server, by VEL_PIPE_EXIT_COMMAND.
//
// Start and Stop are for one thread at a time. A server must be stopped before
// it is destroyed, by the class that derives: its own part is gone otherwise
// when the loop still asks for the name.
class VelPipeServer : public VelTask {
 public:
  // `handler` isn't owned and outlives the server. The pipe's name is asked for
  // by Start only, and again after each Stop of a running server.
  explicit VelPipeServer(PipeCommandHandler* handler);

  // True once the server is listening, false when its loop ended before that,
  // which is logged. Traps when the loop runs already.
  bool Start();
  // True when the loop and all connections have ended within the time,
  // INFINITE for no limit; the commands under way have then been answered.
  // After false the server is still stopping, and Stop can be called again.
  // A loop that has ended by itself makes the time count for nothing: the
  // connections are waited for without limit.
  bool Stop(DWORD timeout_ms);

  // Traps when the loop runs; waits for the connections without limit.
  ~VelPipeServer() override;

 protected:
  static constexpr std::size_t kPipeNameSize = 1024;

  // The server's loop.
  void run() override;
  // Writes the full path of the pipe with its terminator; an empty text makes
  // Start fail. `size_in_characters` is kPipeNameSize. Called on the loop's
  // thread.
  virtual void GetPipeName(wchar_t* buffer, std::size_t size_in_characters) = 0;

 private:
  // An instance that nobody is connected to; empty, with a log line, when none
  // can be made.
  ScopedFileHandle CreatePipeInstance();
  // Reads the request of a connected instance and has it answered. False only
  // for the exit command.
  bool ProcessPipeConnection(ScopedFileHandle pipe);
  // Waits for a client and serves it. Gives the instance to listen on next,
  // empty for the end of the loop.
  ScopedFileHandle serve_instance(ScopedFileHandle current);
  ScopedFileHandle retry_instance();
  void queue_command(ScopedFileHandle pipe, std::uint32_t command,
                     std::wstring args);

  PipeCommandHandler* const _handler;
  // The connections being served.
  ActiveTaskCounter _tasks;
  // Written by the loop, and by Stop when there is none.
  wchar_t _pipe_name[kPipeNameSize] = {};
  // Set while Start waits.
  std::atomic<HANDLE> _started_event{nullptr};
  std::atomic<bool> _stopping{false};
  SECURITY_ATTRIBUTES _security = {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

}  // namespace vel

#endif  // VEL_CHANNELS_VELPIPESERVER_H_
