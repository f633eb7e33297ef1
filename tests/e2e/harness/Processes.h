// Facts about other processes, and values that a test changes for a while.
#ifndef VEL_TESTS_E2E_HARNESS_PROCESSES_H_
#define VEL_TESTS_E2E_HARNESS_PROCESSES_H_

#include <windows.h>

#include <string>
#include <vector>

namespace vel::test {

// How many handles and threads a process has open.
struct ProcessCounts {
  std::size_t handles = 0;
  std::size_t threads = 0;
};
ProcessCounts CountsOf(DWORD process_id);

// The running processes whose file is called `name`, of one parent or, for 0,
// of any.
std::vector<DWORD> ProcessesNamed(const std::wstring& name, DWORD parent = 0);
void KillProcess(DWORD process_id, UINT exit_code);

// The visible dialog box of a process, or null.
HWND DialogOf(DWORD process_id);

// Keeps one registry value as it was: whatever a test or the product makes of
// it is undone at the end, and so is the making of its key. What stands below
// Software\Tessavane\VEL is fixed by the product.
class ScopedRegistryValue {
 public:
  ScopedRegistryValue(HKEY root, const std::wstring& key,
                      const std::wstring& name);
  ~ScopedRegistryValue();
  ScopedRegistryValue(const ScopedRegistryValue&) = delete;
  ScopedRegistryValue& operator=(const ScopedRegistryValue&) = delete;

  // False when the user may not write there.
  [[nodiscard]] bool SetDword(DWORD value);
  [[nodiscard]] bool SetString(const std::wstring& value);
  void Remove();

 private:
  const HKEY _root;
  const std::wstring _key;
  const std::wstring _name;
  DWORD _type = REG_NONE;
  std::vector<BYTE> _former;
  bool _existed = false;
  bool _key_existed = false;
};

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HARNESS_PROCESSES_H_
