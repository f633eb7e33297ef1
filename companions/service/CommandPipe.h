// The service's end of \\.\pipe\VelSvc: one message with a command and a text
// per connection, answered by 32 bits.
#ifndef VEL_COMPANIONS_SERVICE_COMMANDPIPE_H_
#define VEL_COMPANIONS_SERVICE_COMMANDPIPE_H_

#include <windows.h>

#include "common/SrwLock.h"
#include "common/UniqueHandle.h"

namespace velsvc {

// Each connection is served on a thread of the system's pool, so a client that
// dawdles holds up nobody else; it is dropped after some seconds.
class CommandPipe {
 public:
  // `stop` is an event that ends serve(); it must outlive the object.
  explicit CommandPipe(HANDLE stop) : _stop(stop) {}
  CommandPipe(const CommandPipe&) = delete;
  CommandPipe& operator=(const CommandPipe&) = delete;

  // Makes the first instance, from which on clients find the pipe. False with
  // the last error, also when another process has the name.
  bool listen();
  // Serves clients until the stop event, then waits for the connections that
  // are being served. An error code when the pipe can't go on.
  DWORD serve();

 private:
  struct Connection;

  companion::UniqueHandle make_instance(DWORD flags);
  DWORD wait_for_client();
  void hand_over();
  static DWORD WINAPI serve_connection(void* connection);
  void count_connection(int change);
  void wait_for_connections();

  const HANDLE _stop;
  companion::UniqueHandle _instance;  // the one that listens
  companion::UniqueHandle _connected;
  companion::UniqueHandle _marker;
  companion::SrwLock _lock;
  CONDITION_VARIABLE _idle = CONDITION_VARIABLE_INIT;
  int _served = 0;  // connections; guarded by _lock
};

}  // namespace velsvc

#endif  // VEL_COMPANIONS_SERVICE_COMMANDPIPE_H_
