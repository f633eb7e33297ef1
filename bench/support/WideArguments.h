#ifndef VEL_BENCH_WIDEARGUMENTS_H_
#define VEL_BENCH_WIDEARGUMENTS_H_

#include <string>
#include <vector>

namespace vel::bench {

// Google Benchmark's arguments out of wide ones. They are plain ASCII; anything
// else becomes a question mark.
class WideArguments {
 public:
  WideArguments(int argc, wchar_t** argv) {
    for (int i = 0; i < argc; ++i) {
      std::string text;
      for (const wchar_t* c = argv[i]; *c != 0; ++c) {
        text += static_cast<char>(*c < 0x80 ? *c : L'?');
      }
      _texts.push_back(text);
    }
    for (std::string& text : _texts) _pointers.push_back(text.data());
  }
  WideArguments(const WideArguments&) = delete;
  WideArguments& operator=(const WideArguments&) = delete;

  [[nodiscard]] int count() const { return static_cast<int>(_texts.size()); }
  [[nodiscard]] char** data() { return _pointers.data(); }

 private:
  std::vector<std::string> _texts;
  std::vector<char*> _pointers;
};

}  // namespace vel::bench

#endif  // VEL_BENCH_WIDEARGUMENTS_H_
