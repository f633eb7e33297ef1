// What couldn't be read, told on the error output and counted.
#ifndef VEL_TOOLS_SWLCAT_PROBLEMS_H_
#define VEL_TOOLS_SWLCAT_PROBLEMS_H_

#include <cstdint>
#include <cstdio>
#include <string>

#include "swlcat/Utf8.h"

namespace swlcat {

class Problems {
 public:
  // With `aloud` false they are counted only.
  explicit Problems(bool aloud = true) : _aloud(aloud) {}

  void file(const std::wstring& path, const std::wstring& what) {
    tell(path + L": " + what);
  }
  void place(const std::wstring& path, std::uint64_t offset,
             const std::wstring& what) {
    wchar_t place[32];
    _snwprintf(place, 32, L"0x%I64x", offset);
    tell(path + L": at " + place + L": " + what);
  }
  bool any() const { return _any; }

 private:
  void tell(const std::wstring& text) {
    _any = true;
    if (!_aloud) return;
    // What is printed already comes first.
    std::fflush(stdout);
    std::fprintf(stderr, "swlcat: %s\n", utf8(text).c_str());
  }

  const bool _aloud;
  bool _any = false;
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_PROBLEMS_H_
