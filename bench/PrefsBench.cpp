// Preference files of 20,000 preferences: the scan, and the rewrite to memory,
// beside passes that only touch the same bytes and the same map.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "browser/MozillaPrefsFile.h"
#include "browser/PrefsScanner.h"
#include "support/Ratios.h"

namespace vel::bench {
namespace {

constexpr int kPrefs = 20000;

struct Pref {
  std::string name;
  std::string raw;
};
using PrefMap = std::map<std::string, std::shared_ptr<PrefValue>, std::less<>>;

// Sorted, as browsers write them.
const std::vector<Pref>& prefs() {
  static const std::vector<Pref> all = [] {
    std::vector<Pref> list;
    for (int i = 0; i < kPrefs; ++i) {
      list.push_back(
          {"extensions.list." + std::to_string(i * 7919 % kPrefs),
           std::string(140 + static_cast<std::size_t>(i % 40), 'v')});
    }
    return list;
  }();
  return all;
}

// 4 MiB.
const std::string& file_text() {
  static const std::string text = [] {
    std::string out = "# Mozilla User Preferences\r\n\r\n";
    for (const Pref& pref : prefs()) {
      out += "user_pref(\"" + pref.name + "\", \"" + pref.raw + "\");\r\n";
    }
    return out;
  }();
  return text;
}

class EmptySink final : public PrefSink {
 public:
  void set_bool(std::string_view, bool) override {}
  void set_int(std::string_view, std::int64_t) override {}
  void set_string(std::string_view, std::string_view raw) override {
    benchmark::DoNotOptimize(raw.data());
  }
};

void scan(benchmark::State& state) {
  EmptySink sink;
  for (auto _ : state) scan_prefs(file_text(), sink);
}

// From quote to quote, as the scan has to.
void span(benchmark::State& state) {
  for (auto _ : state) {
    for (const char* at = file_text().c_str(); *at != '\0';) {
      at += std::strcspn(at, "\"\\\n");
      if (*at != '\0') ++at;
      benchmark::DoNotOptimize(at);
    }
  }
}

// The file has no path: nothing is read or written. Its end, which makes the
// text to be saved, isn't measured.
void scan_into_table(benchmark::State& state) {
  for (auto _ : state) {
    auto file = std::make_unique<MozillaPrefsFile>(std::wstring());
    scan_prefs(file_text(), *file);
    state.PauseTiming();
    file.reset();
    state.ResumeTiming();
  }
}

void insert(benchmark::State& state) {
  for (auto _ : state) {
    auto map = std::make_unique<PrefMap>();
    for (const Pref& pref : prefs()) {
      map->insert_or_assign(pref.name,
                            std::make_shared<StringPrefValue>(pref.raw));
    }
    state.PauseTiming();
    map.reset();
    state.ResumeTiming();
  }
}

void rewrite(benchmark::State& state) {
  MozillaPrefsFile file{std::wstring()};
  scan_prefs(file_text(), file);
  for (auto _ : state) {
    std::string text;
    text.reserve(file_text().size());
    file.append_text(text);
    benchmark::DoNotOptimize(text.data());
  }
}

void append(benchmark::State& state) {
  std::map<std::string, std::string> map;
  for (const Pref& pref : prefs()) map[pref.name] = pref.raw;
  for (auto _ : state) {
    std::string text;
    text.reserve(file_text().size());
    text += "# Mozilla User Preferences\r\n\r\n";
    for (const auto& [name, raw] : map) {
      text.append("user_pref(\"").append(name).append("\", \"");
      text.append(raw).append("\");\r\n");
    }
    benchmark::DoNotOptimize(text.data());
  }
}

void add(const char* name, void (*function)(benchmark::State&)) {
  constexpr int kRounds = 11;
  benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->Iterations(1)
      ->Repetitions(kRounds);
}

bool add_all() {
  add("preferences, scan", scan);
  add("strcspn pass", span);
  add("preferences, scan into the table", scan_into_table);
  add("insert ready names and values", insert);
  add("preferences, rewrite to memory", rewrite);
  add("plain appends", append);
  add_ratio("preferences, scan", "strcspn pass", 1.0);
  // At least 0.75 times as fast.
  add_ratio("preferences, scan into the table", "insert ready names and values",
            1.33);
  add_ratio("preferences, rewrite to memory", "plain appends", 0);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
