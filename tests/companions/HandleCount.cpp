#include "companions/HandleCount.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <winternl.h>

#include <algorithm>
#include <vector>

#include "sync/ProcAddress.h"

namespace vel::test {
namespace {

constexpr ULONG kSystemExtendedHandleInformation = 64;
constexpr auto kLengthMismatch = static_cast<NTSTATUS>(0xC0000004);

struct Entry {
  void* object;
  ULONG_PTR process;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};

struct Table {
  ULONG_PTR count;
  ULONG_PTR reserved;
};

}  // namespace

// GetProcessHandleCount isn't exact everywhere: the table of the system is.
std::size_t HandleCount() {
  using Query = NTSTATUS(NTAPI*)(ULONG, void*, ULONG, ULONG*);
  const auto query = proc_address<Query>(GetModuleHandleW(L"ntdll.dll"),
                                         "NtQuerySystemInformation");
  std::vector<unsigned char> buffer(0x10000);
  NTSTATUS status;
  while ((status = query(kSystemExtendedHandleInformation, buffer.data(),
                         static_cast<ULONG>(buffer.size()), nullptr)) ==
         kLengthMismatch) {
    buffer.resize(buffer.size() * 2);
  }
  EXPECT_GE(status, 0);
  const auto* table = reinterpret_cast<const Table*>(buffer.data());
  const auto* first = reinterpret_cast<const Entry*>(table + 1);
  return static_cast<std::size_t>(
      std::count_if(first, first + table->count, [](const Entry& entry) {
        return entry.process == GetCurrentProcessId();
      }));
}

}  // namespace vel::test
