// Scopes that change the thread's security context and put it back as it was,
// whatever it was, also when an exception passes.
//
// For one thread: put them on the stack, and end them in the reverse order. No
// constructor throws. A step that fails is logged at level 3.
#ifndef VEL_SECURITY_IMPERSONATOR_H_
#define VEL_SECURITY_IMPERSONATOR_H_

#include <windows.h>

namespace vel {

// Runs the thread as the process itself. A token of the thread that can't be
// opened for MAXIMUM_ALLOWED counts as none: it is neither taken off nor put
// back.
class [[nodiscard]] VelImpersonatorBase {
 public:
  [[nodiscard]] VelImpersonatorBase() noexcept;
  virtual ~VelImpersonatorBase();
  VelImpersonatorBase(const VelImpersonatorBase&) = delete;
  VelImpersonatorBase& operator=(const VelImpersonatorBase&) = delete;

 private:
  // What the thread had on entry; null for none.
  HANDLE _saved_token = nullptr;
};

// Runs the thread as the user of a token.
class [[nodiscard]] VelImpersonateToken final : public VelImpersonatorBase {
 public:
  // `token` needs TOKEN_QUERY, and TOKEN_DUPLICATE if it is a primary one or
  // TOKEN_IMPERSONATE if it isn't. It stays the caller's.
  [[nodiscard]] explicit VelImpersonateToken(HANDLE token) noexcept;
  ~VelImpersonateToken() override;

  // False when the step has failed: the thread runs as the process then, and
  // the caller must not do the client's work.
  [[nodiscard]] bool impersonating() const noexcept { return _impersonating; }

 private:
  bool _impersonating = false;
};

// Runs the thread as the client at the other end of a pipe, from which
// something has been read.
class [[nodiscard]] VelImpersonatePipeClient final
    : public VelImpersonatorBase {
 public:
  // `pipe` is the server's end and stays the caller's.
  [[nodiscard]] explicit VelImpersonatePipeClient(HANDLE pipe) noexcept;
  ~VelImpersonatePipeClient() override;

  // As above.
  [[nodiscard]] bool impersonating() const noexcept { return _impersonating; }

 private:
  bool _impersonating = false;
};

}  // namespace vel

#endif  // VEL_SECURITY_IMPERSONATOR_H_
