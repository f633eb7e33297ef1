#include "sync/NtApi.h"

#include <atomic>
#include <cstddef>

#include "sync/LastErrorKeeper.h"
#include "sync/ProcAddress.h"
#include "sync/Trap.h"

#define VEL_NT_FUNCTIONS(X)    \
  X(ZwClose)                   \
  X(ZwCreateEvent)             \
  X(ZwOpenEvent)               \
  X(ZwSetEvent)                \
  X(ZwResetEvent)              \
  X(ZwCreateMutant)            \
  X(ZwReleaseMutant)           \
  X(ZwWaitForSingleObject)     \
  X(ZwWaitForMultipleObjects)  \
  X(ZwDelayExecution)          \
  X(ZwYieldExecution)          \
  X(ZwOpenThread)              \
  X(ZwQueryInformationThread)  \
  X(ZwQueryInformationProcess) \
  X(ZwCreateFile)              \
  X(ZwOpenFile)                \
  X(ZwReadFile)                \
  X(ZwWriteFile)               \
  X(ZwFlushBuffersFile)        \
  X(ZwQueryInformationFile)    \
  X(ZwSetInformationFile)      \
  X(ZwQueryFullAttributesFile) \
  X(ZwOpenKey)                 \
  X(ZwCreateKey)               \
  X(ZwQueryKey)                \
  X(ZwQueryValueKey)           \
  X(ZwSetValueKey)             \
  X(RtlInitUnicodeString)      \
  X(RtlFreeUnicodeString)      \
  X(RtlFormatCurrentUserKeyPath)

namespace vel::nt {
namespace {

enum Index : std::size_t {
#define VEL_NT_INDEX(name) k##name,
  VEL_NT_FUNCTIONS(VEL_NT_INDEX)
#undef VEL_NT_INDEX
      kFunctionCount
};

constexpr const char* kNames[kFunctionCount] = {
#define VEL_NT_NAME(name) #name,
    VEL_NT_FUNCTIONS(VEL_NT_NAME)
#undef VEL_NT_NAME
};

using AnyFunction = void (*)();
constinit std::atomic<AnyFunction> s_addresses[kFunctionCount] = {};

AnyFunction look_up(Index index) {
  const LastErrorKeeper keeper;
  const auto address =
      proc_address<AnyFunction>(GetModuleHandleW(L"ntdll.dll"), kNames[index]);
  if (address == nullptr) vel_trap_in_lock();
  s_addresses[index].store(address, std::memory_order_relaxed);
  return address;
}

// Early, so that no call at the process's end has to ask the loader.
__attribute__((constructor(101))) void look_up_all() {
  for (std::size_t i = 0; i < kFunctionCount; ++i) {
    look_up(static_cast<Index>(i));
  }
}

// Two threads may both look a name up and store the same address.
template <typename Fn>
Fn* address_of(Index index) {
  AnyFunction address = s_addresses[index].load(std::memory_order_relaxed);
  if (address == nullptr) address = look_up(index);
  return reinterpret_cast<Fn*>(address);
}

}  // namespace

#define VEL_NT_CALL(name) address_of<decltype(name)>(k##name)

NTSTATUS ZwClose(HANDLE handle) {
  return VEL_NT_CALL(ZwClose)(handle);
}

NTSTATUS ZwCreateEvent(HANDLE* event, ACCESS_MASK access,
                       OBJECT_ATTRIBUTES* attributes, EventType type,
                       BOOLEAN signalled) {
  return VEL_NT_CALL(ZwCreateEvent)(event, access, attributes, type, signalled);
}

NTSTATUS ZwOpenEvent(HANDLE* event, ACCESS_MASK access,
                     OBJECT_ATTRIBUTES* attributes) {
  return VEL_NT_CALL(ZwOpenEvent)(event, access, attributes);
}

NTSTATUS ZwSetEvent(HANDLE event, LONG* previous) {
  return VEL_NT_CALL(ZwSetEvent)(event, previous);
}

NTSTATUS ZwResetEvent(HANDLE event, LONG* previous) {
  return VEL_NT_CALL(ZwResetEvent)(event, previous);
}

NTSTATUS ZwCreateMutant(HANDLE* mutant, ACCESS_MASK access,
                        OBJECT_ATTRIBUTES* attributes, BOOLEAN owned) {
  return VEL_NT_CALL(ZwCreateMutant)(mutant, access, attributes, owned);
}

NTSTATUS ZwReleaseMutant(HANDLE mutant, LONG* previous) {
  return VEL_NT_CALL(ZwReleaseMutant)(mutant, previous);
}

NTSTATUS ZwWaitForSingleObject(HANDLE handle, BOOLEAN alertable,
                               const LARGE_INTEGER* timeout) {
  return VEL_NT_CALL(ZwWaitForSingleObject)(handle, alertable, timeout);
}

NTSTATUS ZwWaitForMultipleObjects(ULONG count, const HANDLE* handles,
                                  WaitType type, BOOLEAN alertable,
                                  const LARGE_INTEGER* timeout) {
  return VEL_NT_CALL(ZwWaitForMultipleObjects)(count, handles, type, alertable,
                                               timeout);
}

NTSTATUS ZwDelayExecution(BOOLEAN alertable, const LARGE_INTEGER* interval) {
  return VEL_NT_CALL(ZwDelayExecution)(alertable, interval);
}

NTSTATUS ZwYieldExecution() {
  return VEL_NT_CALL(ZwYieldExecution)();
}

NTSTATUS ZwOpenThread(HANDLE* thread, ACCESS_MASK access,
                      OBJECT_ATTRIBUTES* attributes, CLIENT_ID* client) {
  return VEL_NT_CALL(ZwOpenThread)(thread, access, attributes, client);
}

NTSTATUS ZwQueryInformationThread(HANDLE thread, ULONG information_class,
                                  void* information, ULONG length,
                                  ULONG* returned) {
  return VEL_NT_CALL(ZwQueryInformationThread)(thread, information_class,
                                               information, length, returned);
}

NTSTATUS ZwQueryInformationProcess(HANDLE process, ULONG information_class,
                                   void* information, ULONG length,
                                   ULONG* returned) {
  return VEL_NT_CALL(ZwQueryInformationProcess)(process, information_class,
                                                information, length, returned);
}

NTSTATUS ZwCreateFile(HANDLE* file, ACCESS_MASK access,
                      OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK* io,
                      LARGE_INTEGER* allocation_size, ULONG file_attributes,
                      ULONG share, ULONG disposition, ULONG options,
                      void* ea_buffer, ULONG ea_length) {
  return VEL_NT_CALL(ZwCreateFile)(file, access, attributes, io,
                                   allocation_size, file_attributes, share,
                                   disposition, options, ea_buffer, ea_length);
}

NTSTATUS ZwOpenFile(HANDLE* file, ACCESS_MASK access,
                    OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK* io,
                    ULONG share, ULONG options) {
  return VEL_NT_CALL(ZwOpenFile)(file, access, attributes, io, share, options);
}

NTSTATUS ZwReadFile(HANDLE file, HANDLE event, PIO_APC_ROUTINE apc,
                    void* context, IO_STATUS_BLOCK* io, void* buffer,
                    ULONG length, LARGE_INTEGER* offset, ULONG* key) {
  return VEL_NT_CALL(ZwReadFile)(file, event, apc, context, io, buffer, length,
                                 offset, key);
}

NTSTATUS ZwWriteFile(HANDLE file, HANDLE event, PIO_APC_ROUTINE apc,
                     void* context, IO_STATUS_BLOCK* io, const void* buffer,
                     ULONG length, LARGE_INTEGER* offset, ULONG* key) {
  return VEL_NT_CALL(ZwWriteFile)(file, event, apc, context, io, buffer, length,
                                  offset, key);
}

NTSTATUS ZwFlushBuffersFile(HANDLE file, IO_STATUS_BLOCK* io) {
  return VEL_NT_CALL(ZwFlushBuffersFile)(file, io);
}

NTSTATUS ZwQueryInformationFile(HANDLE file, IO_STATUS_BLOCK* io,
                                void* information, ULONG length,
                                ULONG information_class) {
  return VEL_NT_CALL(ZwQueryInformationFile)(file, io, information, length,
                                             information_class);
}

NTSTATUS ZwSetInformationFile(HANDLE file, IO_STATUS_BLOCK* io,
                              void* information, ULONG length,
                              ULONG information_class) {
  return VEL_NT_CALL(ZwSetInformationFile)(file, io, information, length,
                                           information_class);
}

NTSTATUS ZwQueryFullAttributesFile(OBJECT_ATTRIBUTES* attributes,
                                   FILE_NETWORK_OPEN_INFORMATION* information) {
  return VEL_NT_CALL(ZwQueryFullAttributesFile)(attributes, information);
}

NTSTATUS ZwOpenKey(HANDLE* key, ACCESS_MASK access,
                   OBJECT_ATTRIBUTES* attributes) {
  return VEL_NT_CALL(ZwOpenKey)(key, access, attributes);
}

NTSTATUS ZwCreateKey(HANDLE* key, ACCESS_MASK access,
                     OBJECT_ATTRIBUTES* attributes, ULONG title_index,
                     UNICODE_STRING* class_name, ULONG options,
                     ULONG* disposition) {
  return VEL_NT_CALL(ZwCreateKey)(key, access, attributes, title_index,
                                  class_name, options, disposition);
}

NTSTATUS ZwQueryKey(HANDLE key, ULONG information_class, void* information,
                    ULONG length, ULONG* returned) {
  return VEL_NT_CALL(ZwQueryKey)(key, information_class, information, length,
                                 returned);
}

NTSTATUS ZwQueryValueKey(HANDLE key, UNICODE_STRING* name,
                         ULONG information_class, void* information,
                         ULONG length, ULONG* returned) {
  return VEL_NT_CALL(ZwQueryValueKey)(key, name, information_class, information,
                                      length, returned);
}

NTSTATUS ZwSetValueKey(HANDLE key, UNICODE_STRING* name, ULONG title_index,
                       ULONG type, const void* data, ULONG length) {
  return VEL_NT_CALL(ZwSetValueKey)(key, name, title_index, type, data, length);
}

void RtlInitUnicodeString(UNICODE_STRING* string, const wchar_t* source) {
  VEL_NT_CALL(RtlInitUnicodeString)(string, source);
}

void RtlFreeUnicodeString(UNICODE_STRING* string) {
  VEL_NT_CALL(RtlFreeUnicodeString)(string);
}

NTSTATUS RtlFormatCurrentUserKeyPath(UNICODE_STRING* path) {
  return VEL_NT_CALL(RtlFormatCurrentUserKeyPath)(path);
}

}  // namespace vel::nt
