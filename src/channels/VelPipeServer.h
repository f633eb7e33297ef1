// The server side of the pipe protocol: one request, one 32-bit reply, hang up.
#ifndef VEL_CHANNELS_VELPIPESERVER_H_
#define VEL_CHANNELS_VELPIPESERVER_H_

#include <windows.h>

#include <cstddef>

#include "channels/ActiveTaskCounter.h"
#include "channels/PipeCommandHandler.h"
#include "sync/VelTask.h"

namespace vel {

// Owns a named pipe with as many instances as there are callers. A derived
// class gives the pipe's name; the commands go to the handler, each on a pool
// thread of its own. Start and Stop are for one thread at a time; everything
// else runs on the pool. A server must be stopped before it is destroyed.
class VelPipeServer : public VelTask {
 public:
  // `handler` isn't owned and outlives the server. The pipe's name is asked for
  // by Start only.
  explicit VelPipeServer(PipeCommandHandler* handler);

  // True once the server is listening, false when its loop ended before that.
  // Traps when the loop runs already.
  bool Start();
  // True when the loop and all connections have ended within the time,
  // INFINITE for no limit; the commands under way have then been answered.
  bool Stop(DWORD timeout_ms);

  ~VelPipeServer() override;

 protected:
  static constexpr std::size_t kPipeNameSize = 1024;

  // The server's loop.
  void run() override;
  // Writes the full path of the pipe with its terminator; an empty text makes
  // Start fail. `size_in_characters` is kPipeNameSize.
  virtual void GetPipeName(wchar_t* buffer, std::size_t size_in_characters) = 0;

 private:
  PipeCommandHandler* const _handler;
  ActiveTaskCounter _tasks;
  wchar_t _pipe_name[kPipeNameSize] = {};
  // Set while Start waits.
  HANDLE _started_event = nullptr;
  bool _stopping = false;
  SECURITY_ATTRIBUTES _security = {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

}  // namespace vel

#endif  // VEL_CHANNELS_VELPIPESERVER_H_
