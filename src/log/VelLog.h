#ifndef VEL_LOG_VELLOG_H_
#define VEL_LOG_VELLOG_H_

#include <windows.h>

#include "log/LogFlush.h"

namespace vel {

// The levels of a record. A record is kept when its level is at or above the
// threshold, which is 2 unless VELLOG or VELCFG say otherwise. The numbers
// don't rank importance in a straight line: a notice is kept as often as an
// error, but only the error is pushed to the file at once.
enum LogLevel : unsigned {
  kLogTrace = 1,
  kLogWarning = 2,
  kLogError = 3,   // the file has it when the call returns
  kLogNotice = 4,  // start-up lines, versions, milestones
  kLogFatal = 5,   // written through to the disk, then the process traps
};

// Writes one record. The format is the one of the system's _vsnwprintf: `%s`
// takes wide text, `%S` narrow, `%I64i` 64 bits. From any thread at any moment,
// also before the log exists, after it is gone, and while the process ends:
// takes no critical section and no memory of the runtime, keeps the last error,
// never throws, and reports nothing. Level 5 traps always, with or without a
// log. A record below the threshold costs two atomic adds.
void VelLog_Print(unsigned level, const wchar_t* format, ...) noexcept;

// Pushes what is collected to the file, without waiting for the disk.
void VelLog_FlushBuffer() noexcept;

// True when there is a log that keeps level 1.
[[nodiscard]] bool VelLog_IsDebug() noexcept;

// The file's path; null when there is no log or no open file, be it for a
// moment in a rotation. The text belongs to the log: not for use past the last
// IVelLog::release().
[[nodiscard]] const wchar_t* VelLog_GetPath() noexcept;

// The log of the process (both calls keep the last error): counted, made by the
// first create() and destroyed by the last release(). A process calls create()
// as its first work, and VelLog_FlushBuffer() and release() as its last.
class IVelLog {
 public:
  IVelLog() = delete;

  // `source` names the file and is copied. A second thread that gets here while
  // the first still constructs the log logs nothing meanwhile. Without memory
  // there is no log, and nothing else changes.
  static void create(const wchar_t* source) noexcept;
  // The last one writes the totals of the timing scopes and waits for the calls
  // that are still in the log.
  static void release() noexcept;
};

// The three messages of the usual failures; use the macros below.
void VelLog_Line(const char* source, unsigned line) noexcept;
void VelLog_Win32Call(const char* source, unsigned line) noexcept;
void VelLog_HrCall(const char* source, unsigned line, HRESULT result) noexcept;

}  // namespace vel

// The source file that includes this says once what it is called:
//   static constexpr char kLogSource[] = ".\\VELGUI";

// Marks progress through a start-up sequence.
#define VEL_LOG_LINE() ::vel::VelLog_Line(kLogSource, __LINE__)
// A system call has failed that must not fail: logs and keeps the last error.
#define VEL_LOG_WIN32_CALL() ::vel::VelLog_Win32Call(kLogSource, __LINE__)
// A call with an HRESULT: an error when it is negative, a warning otherwise.
#define VEL_LOG_HR_CALL(hr) ::vel::VelLog_HrCall(kLogSource, __LINE__, (hr))

// The only export of the program: a thread entry point that an outside party
// starts in this process, to get the log to the file before it ends the
// process. Ends its thread with code 1, or 2 when there is no log.
extern "C" __declspec(dllexport) DWORD WINAPI
    VelLog_FlushThread(void* parameter);

#endif  // VEL_LOG_VELLOG_H_
