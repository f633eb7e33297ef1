#ifndef VEL_SYNC_MESSAGEPUMP_H_
#define VEL_SYNC_MESSAGEPUMP_H_

namespace vel {

// A message loop inside another one, of the same thread. WM_QUIT is meant for
// the outer loop: one that is taken here is put back at the end of the scope,
// with its exit code.
class [[nodiscard]] MessagePump {
 public:
  [[nodiscard]] MessagePump() = default;
  ~MessagePump();
  MessagePump(const MessagePump&) = delete;
  MessagePump& operator=(const MessagePump&) = delete;

  // Dispatches what is in the queue and returns.
  void dispatch_waiting();

 private:
  bool _quit = false;
  int _exit_code = 0;
};

}  // namespace vel

#endif  // VEL_SYNC_MESSAGEPUMP_H_
