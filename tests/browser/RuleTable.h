// The grammar of preference files as a table of rules, and its plain
// interpreter: what the scanner is measured by.
#ifndef VEL_TESTS_BROWSER_RULETABLE_H_
#define VEL_TESTS_BROWSER_RULETABLE_H_

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "browser/PcreRegex.h"
#include "browser/PrefSink.h"

namespace vel::test {

// Writes down what it is given: name=value; with strings in quotes.
class Recorder : public PrefSink {
 public:
  void set_bool(std::string_view name, bool value) override {
    record(name, value ? "true" : "false");
  }
  void set_int(std::string_view name, std::int64_t value) override {
    record(name, std::to_string(value));
  }
  void set_string(std::string_view name, std::string_view raw) override {
    record(name, '"' + std::string(raw) + '"');
  }
  std::string text;

 private:
  void record(std::string_view name, const std::string& value) {
    text.append(name).append("=").append(value).append(";");
  }
};

// At each step the longest match wins, of equal ones the first; a byte that no
// rule takes is skipped.
class RuleTable {
 public:
  explicit RuleTable(PrefSink& sink) : _sink(sink) {}

  void run(const std::string& input) {
    static Rule rules[] = {
        {kMain, PcreRegex("^#"), kLine},
        {kMain, PcreRegex("^/\\*"), kBlock},
        {kMain, PcreRegex("^user_pref\\(\""), kName},
        {kMain, PcreRegex("^[ \\t\\n]+"), kMain},
        {kBlock, PcreRegex("^\\*/"), kMain},
        {kBlock, PcreRegex("^[^\\n]"), kBlock},
        {kLine, PcreRegex("^\\n"), kMain},
        {kLine, PcreRegex("^[^\\n]+"), kLine},
        {kName, PcreRegex("^[^\"]+"), kName,
         [](RuleTable& t, auto text) { t._name = text; }},
        {kName, PcreRegex("^\",[ \\t]*"), kValue},
        {kValue, PcreRegex("^true"), kEnd,
         [](RuleTable& t, auto) { t._sink.set_bool(t._name, true); }},
        {kValue, PcreRegex("^false"), kEnd,
         [](RuleTable& t, auto) { t._sink.set_bool(t._name, false); }},
        {kValue, PcreRegex("^[0-9]+"), kEnd,
         // 32 bits; the largest number stands for what is beyond.
         [](RuleTable& t, auto text) {
           t._sink.set_int(t._name, std::strtol(text, nullptr, 10));
         }},
        {kValue, PcreRegex("^\""), kString,
         [](RuleTable& t, auto) { t._buffer.clear(); }},
        {kString, PcreRegex("^\\\\[^\\n]"), kString,
         [](RuleTable& t, auto text) { t._buffer += text; }},
        {kString, PcreRegex("^[^\"]"), kString,
         [](RuleTable& t, auto text) { t._buffer += text; }},
        {kString, PcreRegex("^\""), kEnd,
         [](RuleTable& t, auto) { t._sink.set_string(t._name, t._buffer); }},
        {kEnd, PcreRegex("^[ \\t]+"), kEnd},
        {kEnd, PcreRegex("^\\)[ \\t]*;"), kMain}};
    for (std::size_t at = 0; at < input.size();) {
      const std::string rest = input.substr(at);
      std::size_t longest = 0;
      const Rule* best = nullptr;
      for (Rule& rule : rules) {
        std::vector<PcreRegex::Range> found;
        if (rule.state != _state || !rule.pattern.search(rest, found)) continue;
        const auto length = static_cast<std::size_t>(found[0].second);
        if (length > longest) longest = length, best = &rule;
      }
      at += best ? longest : 1;
      if (!best) continue;
      // The text ends at its first NUL byte.
      if (best->act) best->act(*this, rest.substr(0, longest).c_str());
      _state = best->next;
    }
  }

 private:
  enum State { kMain, kBlock, kLine, kName, kValue, kString, kEnd };
  using Action = void (*)(RuleTable&, const char* text);
  struct Rule {
    State state;
    PcreRegex pattern;
    State next;
    Action act = nullptr;
  };

  PrefSink& _sink;
  State _state = kMain;
  std::string _name, _buffer;
};

}  // namespace vel::test

#endif  // VEL_TESTS_BROWSER_RULETABLE_H_
