// The contract of the session library VELUL.dll (and its reduced build
// VELUL_MIN\VELUL.dll): the session manager and what it calls back.
//
// The order of the operations is part of the contract. Operations named
// reserved_* exist in the library and aren't called by the tray. No operation
// throws across the border, and all text is zero-terminated UTF-16, valid only
// during the call.
#ifndef VEL_PUBLIC_IVELSESSION_H_
#define VEL_PUBLIC_IVELSESSION_H_

#include <cstdint>

// Result of IVelSession::get_state.
enum VelSessionState : std::uint32_t {
  VEL_SESSION_STOPPED = 0,
  VEL_SESSION_RUNNING = 1,
  // Stopped in a way that needs shutdown() before the next start().
  VEL_SESSION_BROKEN = 2,
};

// What IVelSession::start gets.
struct VelSessionStart {
  // Name of the configuration, or null when the name is empty.
  const wchar_t* config;
  std::uintptr_t reserved;  // 0
};

// What a session manager tells the one who holds it. Implemented by the tray.
class IVelSessionCallback {
 public:
  virtual void reserved_1() = 0;
  // The session has ended by itself, or was ended from outside. `status` is
  // the exit status of what ended it, 0 or 1 for an end without a fault.
  // Comes on a thread of the library. get_state() must give a state other
  // than VEL_SESSION_RUNNING soon after.
  virtual void MgrShutdown(std::uint32_t status) = 0;
  virtual void reserved_3() = 0;
  virtual void reserved_4() = 0;
  virtual bool reserved_5() = 0;
  virtual std::uintptr_t reserved_6() = 0;
  virtual std::uintptr_t reserved_7() = 0;
  // Not for the library: the holder ends its callback itself.
  virtual ~IVelSessionCallback() = default;
};

// A session manager, made by VelCreateSession. Implemented by the library;
// every operation may be called from any thread.
class IVelSession {
 public:
  // Starts the session and returns when it runs or has failed. A failure shows
  // in get_state(), which then isn't VEL_SESSION_RUNNING. Does nothing while
  // the session runs or is broken; waits for one that is ending.
  // `parameters->config` is null for the empty name.
  virtual void start(const VelSessionStart* parameters) = 0;
  // Asks the session to end and returns; the end shows in get_state().
  // MgrShutdown may be called for it or not: the holder ignores it then.
  virtual void shutdown() = 0;
  virtual void reserved_3() = 0;
  // Repeats a shell-execute inside the session. Any text may be empty.
  // The result is a system error code, 0 for success, ERROR_NOT_READY when the
  // session doesn't run.
  virtual std::uint32_t start_app(const wchar_t* verb, const wchar_t* file,
                                  const wchar_t* parameters,
                                  const wchar_t* directory,
                                  const wchar_t* class_name) = 0;
  virtual void reserved_5() = 0;
  virtual void reserved_6() = 0;
  virtual void reserved_7() = 0;
  virtual std::uint32_t get_state() = 0;
  virtual void reserved_9() = 0;
  // The pointer is held only between these two. When remove_callback has
  // returned no call to the callback is under way, but for the one that it is
  // called from.
  virtual void add_callback(IVelSessionCallback* callback) = 0;
  virtual void remove_callback(IVelSessionCallback* callback) = 0;
  // Ends the object, and the session with it if it still runs, without the
  // time for its programs that shutdown() gives. Not from within a call to a
  // callback.
  virtual void release() = 0;
};

// The library's exports, by their names.

// Makes a session manager, which the caller ends with release(). Null when
// there is no memory for it.
using VelCreateSessionFn = IVelSession*();
inline constexpr char VEL_CREATE_SESSION_EXPORT[] = "VelCreateSession";

// Puts the reduced build of this process into the minimal mode `mode`.
// 0 on failure, with the thread's last error set.
using InitMinModeFn = int(const wchar_t* mode);
inline constexpr char VEL_INIT_MIN_MODE_EXPORT[] = "InitMinMode";

// The first word of what VelQueryInitHooksParam returns: 0 until the library's
// hooks have been set up in this process.
using VelQueryInitHooksParamFn = const std::uint32_t*();
inline constexpr char VEL_QUERY_INIT_HOOKS_PARAM_EXPORT[] =
    "VelQueryInitHooksParam";

// Connects the library's inter-process channel. The meaning of argument and
// result is the library's own.
using VelIpcConnectFn = std::uintptr_t(std::uintptr_t argument);
inline constexpr char VEL_IPC_CONNECT_EXPORT[] = "VelIpcConnect";

#endif  // VEL_PUBLIC_IVELSESSION_H_
