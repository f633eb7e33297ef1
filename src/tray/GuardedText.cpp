#include "tray/GuardedText.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>

namespace vel {
namespace {

constexpr std::size_t kPageSize = 0x1000;

// How many characters from `address` lie on one page, one at the least: the
// text may end right in front of a page that isn't there.
std::size_t characters_on_page(std::uintptr_t address) {
  const std::size_t bytes = kPageSize - address % kPageSize;
  return std::max<std::size_t>(bytes / sizeof(wchar_t), 1);
}

}  // namespace

bool copy_text_guarded(wchar_t* target, std::size_t count,
                       const wchar_t* source) {
  std::fill_n(target, count, L'\0');
  // A read by the system fails where a direct one would fault.
  const HANDLE self = GetCurrentProcess();
  auto address = reinterpret_cast<std::uintptr_t>(source);
  for (std::size_t done = 0; done < count;) {
    const std::size_t part =
        std::min(count - done, characters_on_page(address));
    const std::size_t bytes = part * sizeof(wchar_t);
    if (!ReadProcessMemory(self, reinterpret_cast<const void*>(address),
                           target + done, bytes, nullptr)) {
      return false;
    }
    wchar_t* const end = target + done + part;
    wchar_t* const terminator = std::find(target + done, end, L'\0');
    if (terminator != end) {
      std::fill(terminator, end, L'\0');
      return true;
    }
    done += part;
    address += bytes;
  }
  return true;
}

}  // namespace vel
