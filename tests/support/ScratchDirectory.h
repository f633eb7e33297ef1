// A directory of the test's own, removed with all that is in it.
#ifndef VEL_TESTS_SUPPORT_SCRATCHDIRECTORY_H_
#define VEL_TESTS_SUPPORT_SCRATCHDIRECTORY_H_

#include <string>

namespace vel::test {

class [[nodiscard]] ScratchDirectory {
 public:
  [[nodiscard]] ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  // Without a backslash at the end.
  const std::wstring& path() const { return _path; }
  std::wstring File(const std::wstring& name) const;
  // Writes a file, with the directories above it, and gives its full path.
  std::wstring Write(const std::wstring& name, const std::string& bytes) const;
  // The bytes of a file, empty when it can't be read.
  std::string Read(const std::wstring& name) const;

 private:
  std::wstring _path;
};

bool FileExists(const std::wstring& path);

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_SCRATCHDIRECTORY_H_
