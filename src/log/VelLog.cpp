#include "log/VelLog.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "log/VelLogStream.h"
#include "log/VelProfileHolder.h"
#include "sync/CurrentThread.h"
#include "sync/LastErrorKeeper.h"
#include "sync/NtApi.h"
#include "sync/Trap.h"

namespace vel {

constinit std::atomic<VelLogStream*> log_object{nullptr};

namespace {

constinit std::atomic<std::int32_t> log_refcount{0};
constinit std::atomic<std::uint32_t> log_calls_in_flight{0};

// A use of the log's object: while one is alive the object is not destroyed.
class [[nodiscard]] LogUse {
 public:
  [[nodiscard]] LogUse() noexcept {
    // The count goes up before the object is read: release() clears the object
    // before it waits for the count, so one of the two sees the other.
    log_calls_in_flight.fetch_add(1);
    _stream = log_object.load();
  }
  ~LogUse() { log_calls_in_flight.fetch_sub(1); }
  LogUse(const LogUse&) = delete;
  LogUse& operator=(const LogUse&) = delete;

  // Null when there is no log any more.
  [[nodiscard]] VelLogStream* stream() const noexcept { return _stream; }

 private:
  VelLogStream* _stream;
};

bool has_log() noexcept {
  return log_object.load(std::memory_order_relaxed) != nullptr;
}

void wait_for_calls_in_flight() noexcept {
  for (;;) {
    std::uint32_t calls = 0;
    if (log_calls_in_flight.compare_exchange_strong(calls, 0)) return;
    if (ThreadIsTerminating()) return;
    nt::ZwYieldExecution();
  }
}

// A count below 1 is a fault of the callers.
LogLevel level_of(std::int32_t count) noexcept {
  return count < 1 ? kLogError : kLogTrace;
}

void log_banner(const wchar_t* source) noexcept {
  SYSTEMTIME now;
  GetLocalTime(&now);
  VelLog_Print(kLogNotice,
               L"[%u/%u/%u %u:%u.%u] IVelLog::create source='%s' cmdline='%s'",
               now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
               now.wSecond, source, GetCommandLineW());
}

}  // namespace

void VelLog_Print(unsigned level, const wchar_t* format, ...) noexcept {
  if (has_log()) {
    const LogUse use;
    if (VelLogStream* stream = use.stream()) {
      va_list args;
      va_start(args, format);
      stream->print(level, format, args);
      va_end(args);
    }
  }
  if (level == kLogFatal) vel_trap();
}

void VelLog_FlushBuffer() noexcept {
  if (!has_log()) return;
  const LogUse use;
  if (VelLogStream* stream = use.stream()) stream->flush_buffer();
}

void VelLog_TryFlushBuffer() noexcept {
  if (!has_log()) return;
  const LogUse use;
  if (VelLogStream* stream = use.stream()) stream->try_flush_buffer();
}

bool VelLog_IsDebug() noexcept {
  if (!has_log()) return false;
  const LogUse use;
  const VelLogStream* stream = use.stream();
  return stream != nullptr && stream->level() < kLogWarning;
}

const wchar_t* VelLog_GetPath() noexcept {
  if (!has_log()) return nullptr;
  const LogUse use;
  const VelLogStream* stream = use.stream();
  return stream != nullptr ? stream->path() : nullptr;
}

void IVelLog::create(const wchar_t* source) noexcept {
  const LastErrorKeeper keeper;
  const std::int32_t count = log_refcount.fetch_add(1) + 1;
  if (count == 1) {
    log_object.store(new (std::nothrow) VelLogStream(source));
    log_banner(source);
  } else {
    VelLog_Print(level_of(count), L"IVelLog::create refcnt=%i", count);
  }
}

void IVelLog::release() noexcept {
  const LastErrorKeeper keeper;
  const std::int32_t count = log_refcount.fetch_sub(1) - 1;
  if (count != 0) {
    VelLog_Print(level_of(count), L"IVelLog::release refcnt=%i", count);
    return;
  }
  VelLog_LogAllStats();
  VelLogStream* stream = log_object.exchange(nullptr);
  wait_for_calls_in_flight();
  delete stream;
}

void VelLog_Line(const char* source, unsigned line) noexcept {
  VelLog_Print(kLogNotice, L"VEL_LOG_LINE: '%S':%u - %u", source, line,
               GetTickCount());
}

void VelLog_Win32Call(const char* source, unsigned line) noexcept {
  VelLog_Print(kLogError, L"VEL_LOG_WIN32_CALL: '%S': %u %u", source, line,
               GetLastError());
}

void VelLog_HrCall(const char* source, unsigned line, HRESULT result) noexcept {
  VelLog_Print(result < 0 ? kLogError : kLogWarning,
               L"VEL_LOG_HR_CALL: '%S': %u 0x%x", source, line, result);
}

}  // namespace vel

extern "C" DWORD WINAPI VelLog_FlushThread(void* parameter) {
  vel::VelLog_Print(
      vel::kLogNotice, L"VelLog_FlushThread(0x%x)",
      static_cast<unsigned>(reinterpret_cast<UINT_PTR>(parameter)));
  vel::VelLog_LogAllStats();
  vel::VelLog_FlushBuffer();
  ExitThread(vel::has_log() ? 1 : 2);
}
