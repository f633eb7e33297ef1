// The real program in a directory of its own, and what a test needs to watch it
// from outside.
#ifndef VEL_TESTS_PROCESS_SCRATCHPROGRAM_H_
#define VEL_TESTS_PROCESS_SCRATCHPROGRAM_H_

#include <windows.h>

#include <optional>
#include <string>

#include "support/ChildProcess.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

// A variable of this process's environment, set for the length of the scope.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const wchar_t* name, const std::wstring& value);
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  const wchar_t* const _name;
  std::optional<std::wstring> _before;
};

// A value of the product's key of the user, put back at the end of the scope.
class ScopedUserValue {
 public:
  explicit ScopedUserValue(const wchar_t* name);
  ~ScopedUserValue();
  ScopedUserValue(const ScopedUserValue&) = delete;
  ScopedUserValue& operator=(const ScopedUserValue&) = delete;

  void Set(DWORD value);
  void Remove();

 private:
  const wchar_t* const _name;
  DWORD _type = REG_NONE;
  std::wstring _data;
};

// A copy of Brindlemar.exe. What it writes for the user or as temporary files
// stays in the scratch directory.
class ScratchProgram {
 public:
  enum Texts { kWithTexts, kWithoutTexts };
  explicit ScratchProgram(Texts texts);

  // The command line for `arguments`, as the program sees it.
  std::wstring CommandLine(const std::wstring& arguments) const;
  ChildProcess Start(const std::wstring& arguments) const;
  // Starts it and waits for its exit code.
  std::optional<DWORD> Run(const std::wstring& arguments) const;

  // Adds a file of the build, named from the build's directory.
  void Add(const std::wstring& file) const;
  // A text of the language library beside the program.
  std::wstring Text(UINT number) const;
  // The user's data directory as the program sees it, with a slash.
  std::wstring DataDirectory() const;
  const ScratchDirectory& scratch() const { return _scratch; }

 private:
  ScratchDirectory _scratch;
  ScopedEnvironment _data;
  ScopedEnvironment _temp;
  ScopedEnvironment _tmp;
  // What is inherited must be replaced by the program.
  ScopedEnvironment _program_directory;
};

struct SeenMessageBox {
  std::wstring text;
  std::wstring caption;
};

// Waits for a message box of the process, reads it and presses OK. Nothing when
// none comes up.
std::optional<SeenMessageBox> DismissMessageBox(const ChildProcess& process);

}  // namespace vel::test

#endif  // VEL_TESTS_PROCESS_SCRATCHPROGRAM_H_
