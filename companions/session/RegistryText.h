// One text out of the registry.
#ifndef VEL_COMPANIONS_SESSION_REGISTRYTEXT_H_
#define VEL_COMPANIONS_SESSION_REGISTRYTEXT_H_

#include <windows.h>

#include <string>

namespace velul {

// The text `value` of `key`, with its variables expanded; null names the key's
// default value. Empty when there is none.
inline std::wstring registry_text(HKEY hive, const std::wstring& key,
                                  const wchar_t* value) {
  wchar_t text[2048];
  DWORD size = sizeof text;
  const LSTATUS status = RegGetValueW(hive, key.c_str(), value, RRF_RT_REG_SZ,
                                      nullptr, text, &size);
  return status == ERROR_SUCCESS ? std::wstring(text) : std::wstring();
}

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_REGISTRYTEXT_H_
