#ifndef VEL_TOOLS_PTPDUMP_OUTPUT_H_
#define VEL_TOOLS_PTPDUMP_OUTPUT_H_

#include <cstdio>
#include <string>
#include <string_view>

namespace ptpdump {

// Text on its way to the standard output, which gets it in pieces: a tree's
// text may be larger than memory. From the first write that fails on nothing is
// written.
class Output {
 public:
  Output& operator<<(std::string_view text) {
    _text += text;
    if (_text.size() >= kPiece) flush();
    return *this;
  }
  // Writes what is left; true when all has been written.
  bool finish() {
    flush();
    return _works && std::fflush(stdout) == 0;
  }

 private:
  static constexpr std::size_t kPiece = 0x10000;

  void flush() {
    _works = _works &&
             std::fwrite(_text.data(), 1, _text.size(), stdout) == _text.size();
    _text.clear();
  }

  std::string _text;
  bool _works = true;
};

}  // namespace ptpdump

#endif  // VEL_TOOLS_PTPDUMP_OUTPUT_H_
