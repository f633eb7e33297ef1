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
    tell(path + L": at " + number(L"0x%I64x", offset) + L": " + what);
  }
  // What was found at `offset` has cost the bytes from `from` to `to`.
  void passed_over(const std::wstring& path, std::uint64_t offset,
                   const std::wstring& what, std::uint64_t from,
                   std::uint64_t to) {
    std::wstring text = what + number(L"; %I64u bytes", to - from);
    if (from != offset) text += number(L" from 0x%I64x on", from);
    place(path, offset, text + L" passed over");
  }
  void cut_unit(const std::wstring& path, std::uint64_t offset,
                std::uint64_t size) {
    place(path, offset,
          number(L"the last %I64u bytes are no whole unit", size));
  }
  // Nothing is missing because of it.
  void warning(const std::wstring& path, const std::wstring& what) {
    print(path + L": warning: " + what);
  }
  bool any() const { return _any; }

 private:
  static std::wstring number(const wchar_t* format, std::uint64_t value) {
    wchar_t text[64];
    _snwprintf(text, 64, format, value);
    return text;
  }
  void tell(const std::wstring& text) {
    _any = true;
    print(text);
  }
  void print(const std::wstring& text) {
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
