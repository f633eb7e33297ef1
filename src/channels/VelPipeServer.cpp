#include "channels/VelPipeServer.h"

#include "foundation/NotBuilt.h"

namespace vel {

VelPipeServer::VelPipeServer(PipeCommandHandler* handler) : _handler(handler) {}

VelPipeServer::~VelPipeServer() = default;

bool VelPipeServer::Start() {
  report_not_built("VelPipeServer::Start");
  return false;
}

// No loop can be running.
bool VelPipeServer::Stop(DWORD) {
  _stopping = true;
  return true;
}

void VelPipeServer::run() {
  report_not_built("VelPipeServer::run");
}

}  // namespace vel
