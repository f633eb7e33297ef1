#include "companions/CompanionLibrary.h"

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace vel::test {

std::wstring CompanionsDirectory() {
  const std::wstring program = TestProgramPath();
  const std::wstring bin = program.substr(0, program.rfind(L'\\'));
  return bin.substr(0, bin.rfind(L'\\')) + L"\\product";
}

CompanionLibrary::CompanionLibrary(const std::wstring& name)
    : _path(CompanionsDirectory() + L"\\" + name),
      _module(LoadLibraryW(_path.c_str())) {
  EXPECT_TRUE(_module) << "LoadLibraryW failed: " << GetLastError();
}

CompanionLibrary::~CompanionLibrary() {
  if (_module) FreeLibrary(_module);
}

FARPROC CompanionLibrary::Find(const char* name) const {
  const FARPROC function = GetProcAddress(_module, name);
  EXPECT_TRUE(function) << name;
  return function;
}

}  // namespace vel::test
