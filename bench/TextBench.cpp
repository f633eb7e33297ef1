// The wildcard match beside a two-pointer match that folds by table.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <array>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/WildcardMatch.h"
#include "support/Ratios.h"

namespace vel::bench {
namespace {

// Every code unit folded once: 128 KiB for the speed of one load.
class FoldingTable {
 public:
  FoldingTable() {
    for (std::size_t i = 0; i < kSize; ++i) {
      _folded[i] = static_cast<wchar_t>(i);
    }
    CharUpperBuffW(_folded.data(), kSize);
  }
  wchar_t operator[](wchar_t c) const { return _folded[c]; }

 private:
  static constexpr std::size_t kSize = 0x10000;
  std::array<wchar_t, kSize> _folded;
};

const FoldingTable& folding() {
  static const auto table = std::make_unique<FoldingTable>();
  return *table;
}

// Not inlined, as the match of another file isn't.
[[gnu::noinline]] bool table_match(std::wstring_view name,
                                   std::wstring_view pattern) {
  const FoldingTable& fold = folding();
  std::size_t n = 0;
  std::size_t p = 0;
  std::size_t star = std::wstring_view::npos;
  std::size_t retry = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == L'*') {
      star = p++;
      retry = n;
    } else if (p < pattern.size() &&
               (pattern[p] == L'?' || fold[name[n]] == fold[pattern[p]])) {
      ++n;
      ++p;
    } else if (star != std::wstring_view::npos) {
      p = star + 1;
      n = ++retry;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == L'*') ++p;
  return p == pattern.size();
}

struct Case {
  const char* what;
  std::wstring name;
  std::wstring pattern;
  bool matches;
};

const Case* cases(std::size_t& count) {
  static const Case all[] = {
      {"same", L"browser.startup.homepage", L"browser.startup.homepage", true},
      {"other case", L"Browser.Startup.HomePage", L"browser.startup.homepage",
       true},
      {"stars", L"extensions.search.Provider.DefaultEngine.name",
       L"ext*.search.*.default?ngine.*", true},
      {"mismatch", L"extensions.search.provider.engine.name",
       L"*.search.*.other", false},
      {"Cyrillic", L"\u041d\u0410\u0421\u0422\u0420\u041e\u0419\u041a\u0418",
       L"\u043d\u0430\u0441*\u0439\u043a\u0438", true},
  };
  count = std::size(all);
  return all;
}

using Match = bool (*)(std::wstring_view, std::wstring_view);

void run(benchmark::State& state, Match match, const Case& row) {
  for (auto _ : state) {
    if (match(row.name, row.pattern) != row.matches) {
      state.SkipWithError("wrong answer");
      break;
    }
    benchmark::ClobberMemory();
  }
}

// A pattern that a match with a restart at each star takes n^4 steps for.
void many_stars(benchmark::State& state) {
  const std::wstring name(static_cast<std::size_t>(state.range(0)), L'a');
  for (auto _ : state) {
    if (VelWildcardMatch(name, L"*a*a*a*a*b")) state.SkipWithError("match");
    benchmark::ClobberMemory();
  }
}

bool add_all() {
  constexpr double kGoal = 1.3;
  constexpr int kIterations = 20000;
  std::size_t count = 0;
  const Case* all = cases(count);
  for (std::size_t i = 0; i < count; ++i) {
    const Case& row = all[i];
    const std::string ours = std::string("VelWildcardMatch ") + row.what;
    const std::string peer = std::string("table match ") + row.what;
    benchmark::RegisterBenchmark(
        ours.c_str(),
        [&row](benchmark::State& state) { run(state, VelWildcardMatch, row); })
        ->UseRealTime()
        ->Iterations(kIterations);
    benchmark::RegisterBenchmark(
        peer.c_str(),
        [&row](benchmark::State& state) { run(state, table_match, row); })
        ->UseRealTime()
        ->Iterations(kIterations);
    add_ratio(ours, peer, kGoal);
  }
  for (const int length : {100, 1000, 10000}) {
    benchmark::RegisterBenchmark("*a*a*a*a*b", many_stars)
        ->UseRealTime()
        ->Iterations(2000000 / length)
        ->Arg(length);
  }
  // Ten times the name, ten times the time.
  add_ratio("*a*a*a*a*b/1000", "*a*a*a*a*b/100", 12);
  add_ratio("*a*a*a*a*b/10000", "*a*a*a*a*b/1000", 12);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
