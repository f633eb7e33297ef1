// The server side of the pipe protocol of vel/PipeMessage.h: one request, one
// 32-bit reply, hang up.
#ifndef VEL_CHANNELS_VELPIPESERVER_H_
#define VEL_CHANNELS_VELPIPESERVER_H_

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <memory>

#include "channels/ActiveTaskCounter.h"
#include "channels/ClientWaits.h"
#include "channels/CountedPoolTask.h"
#include "channels/PipeCommandHandler.h"
#include "sync/ScopedHandle.h"
#include "sync/VelTask.h"

namespace vel {

// Owns a named pipe with as many instances as there are callers. A derived
// class gives the pipe's name; the commands go to the handler, each on a pool
// thread of its own that runs as the client; what the handler has other threads
// do runs as the process. One more pool thread listens and reads the requests
// that are there; a client that hasn't sent its own yet is waited for on
// another pool thread, 32 of them at most.
//
// No client holds up the others or the server's end. A client has 5 seconds for
// its request and 5 for fetching its reply. When 32 requests are waited for,
// and a further client comes, the one that has been silent for longest is
// dropped, but none before it has had 100 ms; in the same way, the oldest go
// when more than 32 replies aren't fetched. A client that is dropped is logged.
//
// The pipe can be opened by every local user, the administrators and
// low-integrity programs. Only commands of the process's own user, the system
// account and administrators are carried out, whatever their integrity level;
// other clients are answered 0. Where the pipe's security can't be set up it
// has the process's default: a working pipe is preferred to a secured one.
// Whoever may open it may end the server, by VEL_PIPE_EXIT_COMMAND.
//
// Start and Stop are for one thread at a time. The derived class's destructor
// must call Stop, because the loop calls GetPipeName.
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
  // Clients have 500 ms more for their request or for fetching their reply.
  // After false the server is still stopping, and Stop can be called again. If
  // the loop has already ended, `timeout_ms` is ignored: the commands under way
  // are waited for without limit.
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
  class RequestTask;

  // What the loop needs besides the pipe, made once. False, with the last error
  // set, when the system doesn't give it.
  bool prepare();
  // An instance that nobody is connected to; empty, with a log line, when none
  // can be made.
  ScopedFileHandle CreatePipeInstance();
  // Waits for a client and has it served. Returns the instance to listen on
  // next, empty for the end of the loop.
  ScopedFileHandle serve_instance(ScopedFileHandle current);
  ScopedFileHandle retry_instance();
  // Has the request of a connected instance waited for, when there is a place.
  void queue_request(ScopedFileHandle pipe);
  // Reads the request of a connected instance and has it answered. False only
  // for the exit command.
  bool ProcessPipeConnection(ScopedFileHandle pipe);
  void start_task(std::unique_ptr<CountedPoolTask> task);
  // Ends the loop. Returns how long it took, `limit` at most, both in ms.
  DWORD send_exit_command(DWORD limit);
  void end_loop();

  PipeCommandHandler* const _handler;
  // The connections being read or served.
  ActiveTaskCounter _tasks;
  // Written by the loop, and by Stop when there is none.
  wchar_t _pipe_name[kPipeNameSize] = {};
  // Set while Start waits.
  std::atomic<HANDLE> _started_event{nullptr};
  std::atomic<bool> _stopping{false};
  SECURITY_ATTRIBUTES _security = {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
  ClientWaits _waits;
  // A semaphore: the free places for reading a request.
  ScopedHandle _readers;
};

}  // namespace vel

#endif  // VEL_CHANNELS_VELPIPESERVER_H_
