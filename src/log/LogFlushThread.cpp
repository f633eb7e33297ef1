// The other road of VelLogStream's buffers to the file: a thread that carries
// them out as APCs and ends with the thread that has made the log.

#include "log/VelLogStream.h"

#include <process.h>

#include "sync/NtHandle.h"

namespace vel {
namespace {

constexpr ULONG kThreadBasicInformation = 0;
constexpr DWORD kSameAccessAndAttributes = DUPLICATE_SAME_ACCESS | 4;

// THREAD_BASIC_INFORMATION.
struct ThreadBasicInformation {
  NTSTATUS exit_status;
  void* environment_block;
  CLIENT_ID client;
  ULONG_PTR affinity;
  LONG priority;
  LONG base_priority;
};

// Zero when it can't be told.
DWORD id_of(HANDLE thread) noexcept {
  ThreadBasicInformation information = {};
  if (!nt::succeeded(nt::ZwQueryInformationThread(
          thread, kThreadBasicInformation, &information, sizeof information,
          nullptr))) {
    return 0;
  }
  return static_cast<DWORD>(
      reinterpret_cast<ULONG_PTR>(information.client.UniqueThread));
}

void CALLBACK set_event(ULONG_PTR event) {
  nt::ZwSetEvent(reinterpret_cast<HANDLE>(event), nullptr);
}

// Returns when `thread` has carried out what was queued, or has ended.
void wait_for_queue(HANDLE thread) noexcept {
  NtHandle done;
  if (!nt::succeeded(nt::ZwCreateEvent(done.put(), EVENT_ALL_ACCESS, nullptr,
                                       nt::EventType::kSynchronization,
                                       FALSE))) {
    return;
  }
  if (QueueUserAPC(set_event, thread,
                   reinterpret_cast<ULONG_PTR>(done.get())) == 0) {
    return;
  }
  const HANDLE either[] = {done.get(), thread};
  nt::ZwWaitForMultipleObjects(std::size(either), either, nt::WaitType::kAny,
                               FALSE, nullptr);
}

}  // namespace

// A write that waits for the flush thread; lies in the log's heap.
struct VelLogRequest {
  VelLogStream* stream;
  std::uint32_t flags;
  void* data;
  std::uint32_t length;  // bytes
};

void VelLogStream::start_flush_thread() noexcept {
  const HANDLE process = GetCurrentProcess();
  if (DuplicateHandle(process, GetCurrentThread(), process, &_owner_thread, 0,
                      FALSE, kSameAccessAndAttributes) != 0) {
    _flush_thread = reinterpret_cast<HANDLE>(_beginthreadex(
        nullptr, 0, flush_thread_main, _owner_thread, 0, nullptr));
  }
  _use_flush_thread = _flush_thread != nullptr;
  if (_use_flush_thread) {
    SetThreadPriority(_flush_thread, THREAD_PRIORITY_HIGHEST);
  } else if (_owner_thread != nullptr) {
    CloseHandle(_owner_thread);
    _owner_thread = nullptr;
  }
}

// A wait that fails ends it too: the log has closed the handle.
unsigned __stdcall VelLogStream::flush_thread_main(
    void* owner_thread) noexcept {
  while (WaitForSingleObjectEx(owner_thread, INFINITE, TRUE) ==
         WAIT_IO_COMPLETION) {
  }
  return 0;
}

void VelLogStream::queue(unsigned flags, void* data,
                         std::uint32_t length) noexcept {
  auto* const request =
      static_cast<VelLogRequest*>(HeapAlloc(_heap, 0, sizeof(VelLogRequest)));
  if (request != nullptr) {
    *request = {this, flags, data, length};
    if (QueueUserAPC(write_request, _flush_thread,
                     reinterpret_cast<ULONG_PTR>(request)) != 0) {
      return;
    }
    HeapFree(_heap, 0, request);
  }
  // Lost, unless the thread has ended with its owner.
  if (WaitForSingleObject(_flush_thread, 0) == WAIT_OBJECT_0) {
    _use_flush_thread = false;
    write_out(data, length);
  }
  HeapFree(_heap, 0, data);
}

void CALLBACK VelLogStream::write_request(ULONG_PTR parameter) noexcept {
  auto* const request = reinterpret_cast<VelLogRequest*>(parameter);
  VelLogStream& stream = *request->stream;
  const LogLock::Scope scope(stream._lock);
  if (stream._file != nullptr) {
    stream.write_out(request->data, request->length);
    if ((request->flags & kSynchronous) != 0) stream.flush_to_disk();
  }
  if ((request->flags & kOwned) != 0) HeapFree(stream._heap, 0, request->data);
  HeapFree(stream._heap, 0, request);
}

void VelLogStream::drain_flush_thread() noexcept {
  if (_file == nullptr || _flush_thread == nullptr) return;
  if (id_of(_flush_thread) != current_thread_id()) {
    wait_for_queue(_flush_thread);
  }
  flush_to_disk();
}

}  // namespace vel
