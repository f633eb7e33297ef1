// A companion as it was built, loaded for a test.
#ifndef VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_
#define VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_

#include <windows.h>

#include <string>

namespace vel::test {

// Where the companions lie, laid out as they are installed. No backslash at
// the end.
std::wstring CompanionsDirectory();

class CompanionLibrary {
 public:
  // `name` is relative to CompanionsDirectory.
  explicit CompanionLibrary(const std::wstring& name);
  ~CompanionLibrary();
  CompanionLibrary(const CompanionLibrary&) = delete;
  CompanionLibrary& operator=(const CompanionLibrary&) = delete;

  HMODULE module() const { return _module; }
  const std::wstring& path() const { return _path; }

  // The export `name`; its absence fails the test.
  template <class Function>
  Function* Get(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(Find(name)));
  }

 private:
  FARPROC Find(const char* name) const;

  std::wstring _path;
  HMODULE _module;
};

}  // namespace vel::test

#endif  // VEL_TESTS_COMPANIONS_COMPANIONLIBRARY_H_
