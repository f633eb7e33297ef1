#include <string>
#include <vector>

#include "support/Ratios.h"

int wmain(int argc, wchar_t** argv) {
  // The arguments are Google Benchmark's, which are plain ASCII.
  std::vector<std::string> texts;
  for (int i = 0; i < argc; ++i) {
    std::string text;
    for (const wchar_t* c = argv[i]; *c != 0; ++c) {
      text += static_cast<char>(*c < 0x80 ? *c : L'?');
    }
    texts.push_back(text);
  }
  std::vector<char*> args;
  for (std::string& text : texts) args.push_back(text.data());
  return vel::bench::run_benchmarks(argc, args.data());
}
