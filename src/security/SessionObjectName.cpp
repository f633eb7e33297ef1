#include "security/SessionObjectName.h"

#include <cstdarg>

#include "foundation/Text.h"

namespace vel {

std::wstring MakeSessionObjectName(DWORD session_id, const wchar_t* format,
                                   ...) {
  va_list args;
  va_start(args, format);
  const std::wstring name = FormatWideV(format, args);
  va_end(args);
  if (session_id == 0) return L"\\BaseNamedObjects\\" + name;
  return FormatWide(L"\\Sessions\\%u\\BaseNamedObjects\\", session_id) + name;
}

}  // namespace vel
