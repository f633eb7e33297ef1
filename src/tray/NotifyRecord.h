// The notification record's size and the texts in it.
#ifndef VEL_TRAY_NOTIFYRECORD_H_
#define VEL_TRAY_NOTIFYRECORD_H_

#include <windows.h>
#include <shellapi.h>

#include <cstddef>
#include <cwchar>

namespace vel {

// The form with balloons but without the fields behind them, which every shell
// from the oldest one on takes.
inline constexpr DWORD kNotifyRecordSize = NOTIFYICONDATAW_V2_SIZE;
static_assert(kNotifyRecordSize == 952);

// As much of the text as the field takes; always terminated.
template <std::size_t kSize>
void copy_text(wchar_t (&field)[kSize], const wchar_t* text) {
  std::wcsncpy(field, text, kSize);
  field[kSize - 1] = L'\0';
}

}  // namespace vel

#endif  // VEL_TRAY_NOTIFYRECORD_H_
