// Typed access to the registry. Each call opens the key, does one thing and
// closes it again.
//
// Reads never fail loudly: a missing key, a missing value and a refused access
// all give the default or an empty result. A setter creates its key; when that
// fails the write is dropped in silence. Nothing is logged, and the thread's
// last error is kept. No state, any thread.
#ifndef VEL_FOUNDATION_REGISTRY_H_
#define VEL_FOUNDATION_REGISTRY_H_

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace vel {

// Which view of the registry a call opens its key in. Any value but the first
// two means the 32-bit view.
inline constexpr std::uint32_t kRegViewDefault = 0;
inline constexpr std::uint32_t kRegViewDefault1 = 1;
inline constexpr std::uint32_t kRegView32 = 2;

// One open key, shared by its copies; the last of them closes it.
class [[nodiscard]] RegKeyHolder {
 public:
  RegKeyHolder() = default;
  // Takes over `key`. Null and INVALID_HANDLE_VALUE are taken and never closed.
  [[nodiscard]] explicit RegKeyHolder(HKEY key);

  HKEY get() const { return _key.get(); }
  // Whether there is a key: neither null nor INVALID_HANDLE_VALUE.
  bool is_valid() const;
  explicit operator bool() const { return is_valid(); }

 private:
  std::shared_ptr<std::remove_pointer_t<HKEY>> _key;
};

// The key `subkey` below `root` with all the access that the caller has. An
// invalid holder when `root` is null or the system refuses. With `create` a
// missing key is made.
[[nodiscard]] RegKeyHolder RegOpen(HKEY root, const std::wstring& subkey,
                                   bool create, std::uint32_t view);

bool RegKeyExists(HKEY root, const std::wstring& subkey, std::uint32_t view);

// The root key that the text before the first backslash names, one of
// HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT and HKEY_USERS in
// exactly that form; null for any other. `subkey_out` gets the text behind the
// backslash.
HKEY RegParseRootKey(const std::wstring& full_path, std::wstring& subkey_out);

// RegOpen, without `create`, of a path with its root key in front. For the
// system's other programs.
[[nodiscard]] RegKeyHolder RegOpenFullPath(const std::wstring& full_path,
                                           std::uint32_t view);

// The type of a value below HKEY_CURRENT_USER, 0 when there is none.
DWORD RegValueType(const std::wstring& subkey, const std::wstring& name);

// The value's data as text up to its first zero, whatever its type. Data past
// 520 bytes is handed back whole, but for one zero at its end.
std::wstring RegGetString(HKEY root, const std::wstring& subkey,
                          const std::wstring& name, std::uint32_t view);

// The strings of a REG_MULTI_SZ value without the empty ones. A value of
// another type gives one entry: what RegGetString reads. For the system's other
// programs.
std::vector<std::wstring> RegGetMultiString(HKEY root,
                                            const std::wstring& subkey,
                                            const std::wstring& name,
                                            std::uint32_t view);

// The first four bytes of a value of at most four, whatever its type.
std::uint32_t RegGetDword(HKEY root, const std::wstring& subkey,
                          const std::wstring& name, std::uint32_t default_value,
                          std::uint32_t view);

// A 64-bit value, else the 32-bit value `legacy_name` (null: none) that an
// older release wrote, else 0.
std::uint64_t RegGetQword(HKEY root, const std::wstring& subkey,
                          const std::wstring& name, const wchar_t* legacy_name);

std::vector<BYTE> RegGetBinary(HKEY root, const std::wstring& subkey,
                               const std::wstring& name, std::uint32_t view);
// For the system's other programs.
std::vector<BYTE> RegGetBinaryFullPath(const std::wstring& full_path,
                                       const std::wstring& name,
                                       std::uint32_t view);

// Reads the value at `index` of an open key. False when there is none or it
// can't be read; the results are untouched then.
bool RegGetValueAt(HKEY key, DWORD index, std::wstring& name_out,
                   DWORD& type_out, std::vector<BYTE>& data_out);

// The full kernel path of an open key, \REGISTRY\... An NTSTATUS; `name_out` is
// set on success alone.
LONG RegGetKeyName(HKEY key, std::wstring& name_out);

// REG_SZ, with its terminator.
void RegSetString(HKEY root, const std::wstring& subkey,
                  const std::wstring& name, const std::wstring& value,
                  std::uint32_t view);
void RegSetDword(HKEY root, const std::wstring& subkey,
                 const std::wstring& name, std::uint32_t value,
                 std::uint32_t view);
void RegSetQword(HKEY root, const std::wstring& subkey,
                 const std::wstring& name, std::uint64_t value);
void RegSetBinary(HKEY root, const std::wstring& subkey,
                  const std::wstring& name, const std::vector<BYTE>& bytes);

// A system error code: what RegDeleteValueW gives, or ERROR_FILE_NOT_FOUND when
// the key can't be opened.
LSTATUS RegRemoveValue(HKEY root, const std::wstring& subkey,
                       const std::wstring& name, std::uint32_t view);

}  // namespace vel

#endif  // VEL_FOUNDATION_REGISTRY_H_
