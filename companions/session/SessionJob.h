// The job object that makes a session: its processes die together.
#ifndef VEL_COMPANIONS_SESSION_SESSIONJOB_H_
#define VEL_COMPANIONS_SESSION_SESSIONJOB_H_

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>

#include "common/UniqueHandle.h"

namespace velul {

// What to start in a job.
struct ProcessStart {
  std::wstring command_line;
  std::wstring directory;      // empty for this process's
  HANDLE inherited = nullptr;  // the one handle that the process inherits
};

// The processes end when the last owner of the object lets it go. May be used
// by several threads at once.
class SessionJob {
 public:
  // A job without processes for `config`, which may be null or empty. Null
  // with the last error.
  static std::shared_ptr<SessionJob> create(const wchar_t* config);

  // Starts a process in the job, with VELCFG and VELRIGHTS in its environment
  // and reduced rights. Where the system doesn't offer these it gets the
  // user's own, which VELRIGHTS then says. A system error code; `process` is
  // filled on success and may be null.
  DWORD start_process(const ProcessStart& start,
                      companion::UniqueHandle* process);

  DWORD active_processes() const;
  // Asks the windows of the session to close; gives how many there were.
  int close_windows() const;
  // Ends all processes with `status`, and waits for their end, but no longer
  // than kEndTimeout.
  void terminate(UINT status) const;

  static constexpr DWORD kEndTimeout = 5000;  // ms

 private:
  SessionJob() = default;
  const wchar_t* rights() const;
  DWORD start_with_flags(const ProcessStart& start, DWORD flags,
                         companion::UniqueHandle* process);
  DWORD create_suspended(const ProcessStart& start, DWORD flags,
                         PROCESS_INFORMATION* info);
  // With this process's own token when `token` is null.
  BOOL create_process(HANDLE token, const ProcessStart& start, DWORD flags,
                      STARTUPINFOEXW* startup, PROCESS_INFORMATION* info);

  // Constant after create.
  companion::UniqueHandle _job;
  companion::UniqueHandle _token;
  std::wstring _config;
  bool _low_integrity = false;
  // Self-synchronised: the system has refused to start a process with _token.
  std::atomic<bool> _token_refused = false;
};

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_SESSIONJOB_H_
