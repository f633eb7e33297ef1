#include "usage/ReportText.h"

#include <windows.h>

#include <ctime>
#include <string_view>

#include "foundation/Base64.h"
#include "foundation/Environment.h"
#include "foundation/ModuleFile.h"
#include "foundation/Product.h"
#include "foundation/RandomText.h"
#include "foundation/Registry.h"
#include "foundation/Sha1.h"
#include "foundation/Text.h"
#include "usage/UsageCounters.h"

namespace vel {
namespace {

constexpr wchar_t kProcessorKey[] =
    L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
constexpr std::size_t kNameSuffix = 4;

std::wstring own_version() {
  return file_version(module_path(nullptr));
}

std::wstring system_line() {
  OSVERSIONINFOEXW os = {};
  os.dwOSVersionInfoSize = sizeof(os);
  if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&os))) return {};
  return FormatWide(
      L"OS: MajorVersion=0x%x MinorVersion=0x%x BuildNumber=0x%x "
      L"PlatformId=0x%x SP=%u.%u ('%s') SuiteMask=0x%x ProductType=0x%x\n",
      os.dwMajorVersion, os.dwMinorVersion, os.dwBuildNumber, os.dwPlatformId,
      os.wServicePackMajor, os.wServicePackMinor, os.szCSDVersion,
      os.wSuiteMask, os.wProductType);
}

const wchar_t* processor_type(DWORD type) {
  switch (type) {
    case PROCESSOR_INTEL_PENTIUM:
      return L"ProcessorType=Intel_Pentium_processor ";
    case PROCESSOR_INTEL_IA64:
      return L"ProcessorType=Intel_x64_processor ";
    case PROCESSOR_AMD_X8664:
      return L"ProcessorType=AMD_x64_processor ";
    default:
      return L"";
  }
}

const wchar_t* processor_architecture(WORD architecture) {
  switch (architecture) {
    case PROCESSOR_ARCHITECTURE_INTEL:
      return L"ProcessorArchitecture=Intel_processor_architecture ";
    case PROCESSOR_ARCHITECTURE_IA64:
      return L"ProcessorArchitecture=Intel_x64_processor_architecture ";
    case PROCESSOR_ARCHITECTURE_AMD64:
      return L"ProcessorArchitecture=AMD_x64_processor_architecture ";
    default:
      return L"ProcessorArchitecture=Unknown_processor_architecture ";
  }
}

// Without memory figures the line has no end. ProcessorRevisionNumber is the
// processor's type, whatever its name says. Both stay so: the receiving side
// counts on it.
std::wstring hardware_line() {
  SYSTEM_INFO system = {};
  GetSystemInfo(&system);
  std::wstring line = L"Hardware: ";
  line += processor_type(system.dwProcessorType);
  line += processor_architecture(system.wProcessorArchitecture);
  MEMORYSTATUSEX memory = {};
  memory.dwLength = sizeof(memory);
  if (!GlobalMemoryStatusEx(&memory)) return line;
  line += FormatWide(
      L"NumberOfProcessors=%u ProcessorRevisionNumber=%u MemorySize=%u ",
      system.dwNumberOfProcessors, system.dwProcessorType,
      static_cast<DWORD>(memory.ullTotalPhys));
  line += L"ProcessorFrequency=" +
          std::to_wstring(RegGetDword(HKEY_LOCAL_MACHINE, kProcessorKey,
                                      L"~MHz", 0, kRegViewDefault)) +
          L" MHz\n";
  return line;
}

std::wstring counter_lines() {
  std::wstring lines;
  for (const wchar_t* name : kUsageCounters) {
    lines += FormatWide(
        L"%s=%u\n", name,
        RegGetDword(HKEY_CURRENT_USER, kProductKey, name, 0, kRegViewDefault));
  }
  return lines;
}

}  // namespace

std::wstring report_date() {
  const __time64_t now = _time64(nullptr);
  std::wstring date = _wasctime(_gmtime64(&now));
  date.erase(date.find_last_not_of(L"\r\n") + 1);
  return date + L" GMT";
}

std::string report_user_hash() {
  const std::wstring name = get_env(L"USERNAME");
  const Sha1Digest digest = Sha1(name.data(), name.size() * sizeof(wchar_t));
  return Base64Encode(std::string_view(
      reinterpret_cast<const char*>(digest.data()), digest.size()));
}

std::wstring report_body(const std::wstring& reason) {
  return L"Reason=" + reason + L"\nUserHash=" +
         WideFromAnsi(report_user_hash()) + L"\nVersion=" + own_version() +
         L"\n" + system_line() + hardware_line() + counter_lines();
}

std::wstring report_headers(const std::wstring& date, std::size_t body_length) {
  return L"Date: " + date + L"\nContent-Length: " +
         std::to_wstring(body_length) + L"\nContent-Type: text/html\n";
}

std::wstring report_name(const std::wstring& reason) {
  SYSTEMTIME now = {};
  GetLocalTime(&now);
  return L"/brindlemar/" + reason + L"_" + own_version() +
         FormatWide(L"_%u-%02u-%02u_%02u-%02u-%02u_", now.wYear, now.wMonth,
                    now.wDay, now.wHour, now.wMinute, now.wSecond) +
         RandomName(kNameSuffix);
}

}  // namespace vel
