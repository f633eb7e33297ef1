// A directory of the test's own that the logs of this process and its children
// lie in.
#ifndef VEL_TESTS_SUPPORT_LOGDIRECTORY_H_
#define VEL_TESTS_SUPPORT_LOGDIRECTORY_H_

#include <string>

#include "support/LogFile.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

class LogDirectory {
 public:
  // With `flags` as VELLOGFLAGS: "1" for plain files.
  explicit LogDirectory(const std::wstring& flags)
      : _temporary(L"TMP", _directory.path()), _flags(L"VELLOGFLAGS", flags) {}

  void SetFlags(const std::wstring& flags) const { _flags.Set(flags); }
  std::wstring Path(const std::wstring& name) const {
    return _directory.File(L"VelTmp\\Logs\\" + name);
  }
  std::string Read(const std::wstring& name) const {
    return ReadBytes(Path(name));
  }
  std::wstring Write(const std::wstring& name, const std::string& data) const {
    return _directory.Write(L"VelTmp\\Logs\\" + name, data);
  }
  void Cut(const std::wstring& name, std::size_t size) const {
    const HANDLE file = Open(name);
    SetFilePointer(file, static_cast<LONG>(size), nullptr, FILE_BEGIN);
    SetEndOfFile(file);
    CloseHandle(file);
  }
  // A handle for reading and writing, from the start; makes an empty file.
  HANDLE Open(const std::wstring& name) const {
    return CreateFileW(Path(name).c_str(), GENERIC_READ | GENERIC_WRITE,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, OPEN_ALWAYS, 0, nullptr);
  }
  void MakeDirectory(const std::wstring& name) const {
    CreateDirectoryW(Path(name).c_str(), nullptr);
  }
  void Remove(const std::wstring& name) const {
    DeleteFileW(Path(name).c_str()) || RemoveDirectoryW(Path(name).c_str());
  }
  int Count(const std::wstring& pattern) const {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(Path(pattern).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return 0;
    int count = 1;
    while (FindNextFileW(search, &found)) ++count;
    FindClose(search);
    return count;
  }

 private:
  const ScratchDirectory _directory;
  const ScopedVariable _temporary;
  const ScopedVariable _flags;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_LOGDIRECTORY_H_
