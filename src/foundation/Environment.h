// Environment variables: the process's own, overridden by a table, completed
// by computed values where the process has none. The thread's last error is
// kept by all of them. Any thread.
#ifndef VEL_FOUNDATION_ENVIRONMENT_H_
#define VEL_FOUNDATION_ENVIRONMENT_H_

#include <map>
#include <string>

#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {

// The table of names that goes before the process's environment. Names are
// compared in lower case.
class EnvOverrides {
 public:
  // The table of the process, null before its start has got that far and when
  // its end has begun. The object stays usable for who still has the pointer.
  static EnvOverrides* alive();

  EnvOverrides() = default;
  EnvOverrides(const EnvOverrides&) = delete;
  EnvOverrides& operator=(const EnvOverrides&) = delete;

  // The value, empty when the table hasn't got the name.
  std::wstring find(const std::wstring& name);
  // Enters a value. An empty one takes the entry away.
  void set(const std::wstring& name, const std::wstring& value);

 private:
  VelFastMutex _lock;
  std::map<std::wstring, std::wstring> _values VEL_GUARDED_BY(_lock);
};

// The value of a variable: from the table, else from the process's environment,
// else, for TEMP, APPDATA, VELDIR and WINDIR, computed; else empty. A computed
// APPDATA is a directory below the temporary one, which is created.
std::wstring get_env(const std::wstring& name);

// The value that the process's environment itself has, or empty.
std::wstring process_env(const std::wstring& name);

// Sets a variable of the process's environment, or, with `process` false, of
// the table. An empty value removes it.
void set_env(const std::wstring& name, const std::wstring& value, bool process);

// Replaces each %NAME% by its value, and %% by one %. A text with fewer than
// two % stays as it is. For a name with no value the whole result is empty when
// `strict`; otherwise the reference stays in the text.
std::wstring expand_env(const std::wstring& text, bool strict);

// Enters the shell's folders into the table under their CSIDL_ names, with no
// backslash at the end. A folder that isn't known is left out. For the system's
// other programs.
void publish_folder_names();

}  // namespace vel

#endif  // VEL_FOUNDATION_ENVIRONMENT_H_
