#include "process/SystemVersions.h"

#include <windows.h>

#include <cstdint>

#include "foundation/Paths.h"
#include "log/VelLog.h"

namespace vel {
namespace {

void log_program() {
  const std::wstring path = module_path(nullptr);
  VelLog_Print(kLogNotice, L"Program: '%s' version %s", path.c_str(),
               file_version(path).c_str());
}

void log_windows_version() {
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
    VelLog_Print(kLogError, L"GetVersionEx failed, error %u", GetLastError());
    return;
  }
  VelLog_Print(
      kLogNotice,
      L"System version: MajorVersion=0x%x MinorVersion=0x%x "
      L"BuildNumber=0x%x PlatformId=0x%x SP=%u.%u ('%s') SuiteMask=0x%x "
      L"ProductType=0x%x",
      version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber,
      version.dwPlatformId, version.wServicePackMajor,
      version.wServicePackMinor, version.szCSDVersion, version.wSuiteMask,
      version.wProductType);
}

// The record's fields are 32 bits wide: of an address it has the low half.
std::uint32_t low_half(const void* address) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(address));
}

void log_system_info() {
  SYSTEM_INFO info = {};
  GetSystemInfo(&info);
  VelLog_Print(
      kLogNotice,
      L"System info: OemId=0x%x ProcessorArchitecture=0x%x PageSize=0x%x "
      L"MinimumApplicationAddress=0x%x MaximumApplicationAddress=0x%x "
      L"ActiveProcessorMask=0x%x NumberOfProcessors=0x%x ProcessorType=0x%x "
      L"AllocationGranularity=0x%x ProcessorLevel=0x%x ProcessorRevision=0x%x",
      info.dwOemId, info.wProcessorArchitecture, info.dwPageSize,
      low_half(info.lpMinimumApplicationAddress),
      low_half(info.lpMaximumApplicationAddress),
      static_cast<std::uint32_t>(info.dwActiveProcessorMask),
      info.dwNumberOfProcessors, info.dwProcessorType,
      info.dwAllocationGranularity, info.wProcessorLevel,
      info.wProcessorRevision);
}

}  // namespace

void log_system_versions() {
  log_program();
  log_windows_version();
  log_system_info();
}

}  // namespace vel
