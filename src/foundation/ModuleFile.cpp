#include "foundation/ModuleFile.h"

#include <vector>

#include "foundation/LongPath.h"
#include "foundation/PathParts.h"
#include "foundation/Text.h"
#include "sync/LastErrorKeeper.h"
#include "sync/OnceGuard.h"
#include "sync/ProcAddress.h"

namespace vel {
namespace {

constexpr DWORD kModulePathLength = 520;

// version.dll, which few runs need.
struct VersionApi {
  decltype(&GetFileVersionInfoSizeW) get_size = nullptr;
  decltype(&GetFileVersionInfoW) get_info = nullptr;
  decltype(&VerQueryValueW) query_value = nullptr;

  bool is_complete() const { return get_size && get_info && query_value; }
};

VersionApi load_version_api() {
  // By its full path: a version.dll beside the program isn't the system's.
  wchar_t system[MAX_PATH] = {};
  const UINT length = GetSystemDirectoryW(system, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return {};
  const std::wstring path = with_slash(system) + L"version.dll";
  const HMODULE module = LoadLibraryW(path.c_str());
  if (module == nullptr) return {};
  return {proc_address<decltype(&GetFileVersionInfoSizeW)>(
              module, "GetFileVersionInfoSizeW"),
          proc_address<decltype(&GetFileVersionInfoW)>(module,
                                                       "GetFileVersionInfoW"),
          proc_address<decltype(&VerQueryValueW)>(module, "VerQueryValueW")};
}

}  // namespace

std::wstring module_path(HMODULE module) {
  LastErrorKeeper keeper;
  wchar_t buffer[kModulePathLength] = {};
  const DWORD length = GetModuleFileNameW(module, buffer, kModulePathLength);
  if (length == 0 || length >= kModulePathLength) return {};
  const std::wstring name(buffer, length);
  const std::wstring long_form = long_path(name);
  return long_form.empty() ? name : long_form;
}

std::wstring file_version(const std::wstring& path) {
  LastErrorKeeper keeper;
  const VersionApi& api = once_static(load_version_api);
  if (!api.is_complete()) return {};
  DWORD ignored = 0;
  const DWORD size = api.get_size(path.c_str(), &ignored);
  if (size == 0) return {};
  std::vector<BYTE> info(size);
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT fixed_size = 0;
  if (!api.get_info(path.c_str(), 0, size, info.data()) ||
      !api.query_value(info.data(), L"\\", reinterpret_cast<void**>(&fixed),
                       &fixed_size) ||
      fixed_size < sizeof(*fixed)) {
    return {};
  }
  return FormatWide(L"%u.%u.%u.%u", HIWORD(fixed->dwFileVersionMS),
                    LOWORD(fixed->dwFileVersionMS),
                    HIWORD(fixed->dwFileVersionLS),
                    LOWORD(fixed->dwFileVersionLS));
}

}  // namespace vel
