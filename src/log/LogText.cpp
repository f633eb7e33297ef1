#include "log/LogText.h"

#include <windows.h>

#include <cwchar>

#include "sync/OnceGuard.h"
#include "sync/ProcAddress.h"

namespace vel {
namespace {

using VPrintFn = int(__cdecl*)(wchar_t*, std::size_t, const wchar_t*, va_list);

VPrintFn nt_vsnwprintf() noexcept {
  static constinit OnceGuard guard;
  static constinit VPrintFn function = nullptr;
  guard.run([] {
    function =
        proc_address<VPrintFn>(GetModuleHandleW(L"ntdll.dll"), "_vsnwprintf");
  });
  return function;
}

}  // namespace

int nt_vprint(wchar_t* text, std::size_t limit, const wchar_t* format,
              va_list args) noexcept {
  va_list copy;
  va_copy(copy, args);
  const int count = nt_vsnwprintf()(text, limit, format, copy);
  va_end(copy);
  return count;
}

int nt_print(wchar_t* text, std::size_t limit, const wchar_t* format,
             ...) noexcept {
  va_list args;
  va_start(args, format);
  const int count = nt_vprint(text, limit, format, args);
  va_end(args);
  return count;
}

bool append_text(wchar_t* text, std::size_t capacity,
                 const wchar_t* tail) noexcept {
  const std::size_t length = std::wcslen(text);
  const std::size_t more = std::wcslen(tail);
  if (length + more >= capacity) return false;
  std::wmemcpy(text + length, tail, more + 1);
  return true;
}

}  // namespace vel
