// Files and directories whose absence is an exception. For the system's other
// programs.
#ifndef VEL_FOUNDATION_READFILE_H_
#define VEL_FOUNDATION_READFILE_H_

#include <windows.h>

#include <string>
#include <vector>

namespace vel {

// The whole file, which others may read at the same time but not write. Throws
// std::runtime_error with the path and the system's error when the file can't
// be opened or read.
std::vector<BYTE> readFile(const std::wstring& path);

// A new, empty directory among the temporary files. It isn't removed with the
// object: its user decides.
class TempDirectory {
 public:
  // Throws std::runtime_error when no name or no directory can be made.
  TempDirectory();

  // Without a slash.
  const std::wstring& path() const { return _path; }

 private:
  std::wstring _path;
};

}  // namespace vel

#endif  // VEL_FOUNDATION_READFILE_H_
