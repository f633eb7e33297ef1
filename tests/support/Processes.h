// The system's list of processes.
#ifndef VEL_TESTS_SUPPORT_PROCESSES_H_
#define VEL_TESTS_SUPPORT_PROCESSES_H_

#include <windows.h>
#include <tlhelp32.h>

#include <string>
#include <vector>

#include "sync/ScopedHandle.h"

namespace vel::test {

// The ids of those whose file is called `name`, of one parent or, for 0, of
// any.
inline std::vector<DWORD> ProcessesNamed(const std::wstring& name,
                                         DWORD parent = 0) {
  std::vector<DWORD> found;
  const ScopedFileHandle snapshot(
      CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
       more = Process32NextW(snapshot.get(), &entry)) {
    if (_wcsicmp(entry.szExeFile, name.c_str()) == 0 &&
        (parent == 0 || entry.th32ParentProcessID == parent)) {
      found.push_back(entry.th32ProcessID);
    }
  }
  return found;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_PROCESSES_H_
