#ifndef VEL_TESTS_SYNC_TESTLIBRARIES_H_
#define VEL_TESTS_SYNC_TESTLIBRARIES_H_

#include <string>

#include "support/ChildProcess.h"

namespace vel::test {

// Full path of a library that was built for these tests.
inline std::wstring LibraryPath(const wchar_t* name) {
  const std::wstring program = TestProgramPath();
  return program.substr(0, program.rfind(L'\\')) + L"\\sync_libraries\\" + name;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SYNC_TESTLIBRARIES_H_
