#include "menus/Texts.h"

#include <cstdarg>
#include <cwchar>

namespace velmenus {
namespace {

constexpr wchar_t kLibrary[] = L"VELRCS.dll";

HMODULE load_from_product() {
  wchar_t directory[MAX_PATH];
  const DWORD size = GetEnvironmentVariableW(L"VELDIR", directory, MAX_PATH);
  if (size == 0 || size >= MAX_PATH) return nullptr;
  const std::wstring path = std::wstring(directory) + L"\\" + kLibrary;
  return LoadLibraryExW(
      path.c_str(), nullptr,
      LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
}

}  // namespace

Texts::Texts() {
  if (!GetModuleHandleExW(0, kLibrary, &_module)) _module = load_from_product();
}

Texts::~Texts() {
  if (_module) FreeLibrary(_module);
}

std::wstring Texts::get(UINT number) const {
  const wchar_t* text = nullptr;
  // A buffer of size 0 asks for a pointer into the resource.
  const int size = _module ? LoadStringW(_module, number,
                                         reinterpret_cast<wchar_t*>(&text), 0)
                           : 0;
  return size > 0 ? std::wstring(text, static_cast<std::size_t>(size))
                  : std::wstring();
}

std::wstring Texts::format(UINT number, ...) const {
  wchar_t result[512] = L"";
  va_list arguments;
  va_start(arguments, number);
  _vsnwprintf(result, 511, get(number).c_str(), arguments);
  va_end(arguments);
  return result;
}

}  // namespace velmenus
