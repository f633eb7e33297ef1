// What a pipe server calls for each command.
#ifndef VEL_CHANNELS_PIPECOMMANDHANDLER_H_
#define VEL_CHANNELS_PIPECOMMANDHANDLER_H_

#include <cstdint>
#include <string>

namespace vel {

class PipeCommandHandler {
 public:
  // Runs `command` with the text that came with it and gives the reply, of
  // which the low 32 bits reach the client. Called on a pool thread that
  // impersonates the client, for several clients at once; must not throw.
  virtual std::intptr_t OnPipeCommand(std::uint32_t command,
                                      const std::wstring& args) = 0;

 protected:
  ~PipeCommandHandler() = default;
};

}  // namespace vel

#endif  // VEL_CHANNELS_PIPECOMMANDHANDLER_H_
