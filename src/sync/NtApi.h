#ifndef VEL_SYNC_NTAPI_H_
#define VEL_SYNC_NTAPI_H_

#include <windows.h>
#include <winternl.h>

// The native calls of the program. The import libraries lack most of them, so
// each is looked up in ntdll.dll, all of them before the first constructor of a
// static object runs, and called here under its own name. None of them touches
// the thread's last-error value or takes a lock of the runtime: they serve code
// that runs while the process ends. A call that ntdll.dll lacks is a trap.
namespace vel::nt {

// Statuses that the program tells apart; a negative status is a failure.
constexpr NTSTATUS kStatusSuccess = 0;
constexpr NTSTATUS kStatusTimeout = 0x102;
constexpr NTSTATUS kStatusBufferOverflow = static_cast<NTSTATUS>(0x80000005);
constexpr NTSTATUS kStatusUnsuccessful = static_cast<NTSTATUS>(0xC0000001);
constexpr NTSTATUS kStatusInvalidHandle = static_cast<NTSTATUS>(0xC0000008);
constexpr NTSTATUS kStatusAccessDenied = static_cast<NTSTATUS>(0xC0000022);
constexpr NTSTATUS kStatusBufferTooSmall = static_cast<NTSTATUS>(0xC0000023);

[[nodiscard]] constexpr bool succeeded(NTSTATUS status) {
  return status >= 0;
}

enum class EventType : int { kNotification = 0, kSynchronization = 1 };
enum class WaitType : int { kAll = 0, kAny = 1 };

// Information classes, as ULONG: the headers name only some of them.
constexpr ULONG kThreadIsTerminating = 12;
constexpr ULONG kProcessSessionInformation = 24;
constexpr ULONG kFileStandardInformation = 5;
constexpr ULONG kFileNameInformation = 9;
constexpr ULONG kFileRenameInformation = 10;
constexpr ULONG kFileDispositionInformation = 13;
constexpr ULONG kFileEndOfFileInformation = 20;
constexpr ULONG kKeyValuePartialInformation = 2;
constexpr ULONG kKeyNameInformation = 3;

// Handles. A failing ZwClose means that the handle wasn't one.
NTSTATUS ZwClose(HANDLE handle);

// Events and mutants. `attributes` may be null for an object without a name.
NTSTATUS ZwCreateEvent(HANDLE* event, ACCESS_MASK access,
                       OBJECT_ATTRIBUTES* attributes, EventType type,
                       BOOLEAN signalled);
NTSTATUS ZwOpenEvent(HANDLE* event, ACCESS_MASK access,
                     OBJECT_ATTRIBUTES* attributes);
// `previous`, where present, gets the state before the call and may be null.
NTSTATUS ZwSetEvent(HANDLE event, LONG* previous);
NTSTATUS ZwResetEvent(HANDLE event, LONG* previous);
NTSTATUS ZwCreateMutant(HANDLE* mutant, ACCESS_MASK access,
                        OBJECT_ATTRIBUTES* attributes, BOOLEAN owned);
NTSTATUS ZwReleaseMutant(HANDLE mutant, LONG* previous);

// Waits. Times are in 100 ns units, negative from now on; a null pointer waits
// without a limit.
NTSTATUS ZwWaitForSingleObject(HANDLE handle, BOOLEAN alertable,
                               const LARGE_INTEGER* timeout);
NTSTATUS ZwWaitForMultipleObjects(ULONG count, const HANDLE* handles,
                                  WaitType type, BOOLEAN alertable,
                                  const LARGE_INTEGER* timeout);
NTSTATUS ZwDelayExecution(BOOLEAN alertable, const LARGE_INTEGER* interval);
NTSTATUS ZwYieldExecution();

// Threads and processes. `returned` may be null.
NTSTATUS ZwOpenThread(HANDLE* thread, ACCESS_MASK access,
                      OBJECT_ATTRIBUTES* attributes, CLIENT_ID* client);
NTSTATUS ZwQueryInformationThread(HANDLE thread, ULONG information_class,
                                  void* information, ULONG length,
                                  ULONG* returned);
NTSTATUS ZwQueryInformationProcess(HANDLE process, ULONG information_class,
                                   void* information, ULONG length,
                                   ULONG* returned);

// Files, always synchronous here: `event`, `apc` and `context` are null.
NTSTATUS ZwCreateFile(HANDLE* file, ACCESS_MASK access,
                      OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK* io,
                      LARGE_INTEGER* allocation_size, ULONG file_attributes,
                      ULONG share, ULONG disposition, ULONG options,
                      void* ea_buffer, ULONG ea_length);
NTSTATUS ZwOpenFile(HANDLE* file, ACCESS_MASK access,
                    OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK* io,
                    ULONG share, ULONG options);
NTSTATUS ZwReadFile(HANDLE file, HANDLE event, PIO_APC_ROUTINE apc,
                    void* context, IO_STATUS_BLOCK* io, void* buffer,
                    ULONG length, LARGE_INTEGER* offset, ULONG* key);
NTSTATUS ZwWriteFile(HANDLE file, HANDLE event, PIO_APC_ROUTINE apc,
                     void* context, IO_STATUS_BLOCK* io, const void* buffer,
                     ULONG length, LARGE_INTEGER* offset, ULONG* key);
NTSTATUS ZwFlushBuffersFile(HANDLE file, IO_STATUS_BLOCK* io);
NTSTATUS ZwQueryInformationFile(HANDLE file, IO_STATUS_BLOCK* io,
                                void* information, ULONG length,
                                ULONG information_class);
NTSTATUS ZwSetInformationFile(HANDLE file, IO_STATUS_BLOCK* io,
                              void* information, ULONG length,
                              ULONG information_class);
NTSTATUS ZwQueryFullAttributesFile(OBJECT_ATTRIBUTES* attributes,
                                   FILE_NETWORK_OPEN_INFORMATION* information);

// The registry. `returned` must not be null.
NTSTATUS ZwOpenKey(HANDLE* key, ACCESS_MASK access,
                   OBJECT_ATTRIBUTES* attributes);
NTSTATUS ZwCreateKey(HANDLE* key, ACCESS_MASK access,
                     OBJECT_ATTRIBUTES* attributes, ULONG title_index,
                     UNICODE_STRING* class_name, ULONG options,
                     ULONG* disposition);
NTSTATUS ZwQueryKey(HANDLE key, ULONG information_class, void* information,
                    ULONG length, ULONG* returned);
NTSTATUS ZwQueryValueKey(HANDLE key, UNICODE_STRING* name,
                         ULONG information_class, void* information,
                         ULONG length, ULONG* returned);
NTSTATUS ZwSetValueKey(HANDLE key, UNICODE_STRING* name, ULONG title_index,
                       ULONG type, const void* data, ULONG length);

// Strings. RtlInitUnicodeString borrows `source`; what
// RtlFormatCurrentUserKeyPath gives is freed by RtlFreeUnicodeString.
void RtlInitUnicodeString(UNICODE_STRING* string, const wchar_t* source);
void RtlFreeUnicodeString(UNICODE_STRING* string);
NTSTATUS RtlFormatCurrentUserKeyPath(UNICODE_STRING* path);

}  // namespace vel::nt

#endif  // VEL_SYNC_NTAPI_H_
