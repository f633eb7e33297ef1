// The grammar of preference files as a table of rules, and its plain
// interpreter: what the scanner is measured by.
#ifndef VEL_TESTS_BROWSER_RULETABLE_H_
#define VEL_TESTS_BROWSER_RULETABLE_H_

#include <cstdlib>
#include <memory>
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
    static const std::vector<Rule> rules = make_rules();
    for (std::size_t at = 0; at < input.size();) {
      const std::string rest = input.substr(at);
      std::size_t longest = 0;
      const Rule* best = nullptr;
      for (const Rule& rule : rules) {
        std::vector<PcreRegex::Range> found;
        if (rule.state != _state || !rule.pattern->search(rest, found))
          continue;
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
    Rule(State in, const char* match, State to, Action action = nullptr)
        : state(in),
          pattern(std::make_shared<PcreRegex>("^" + std::string(match))),
          next(to),
          act(action) {}
    State state;
    std::shared_ptr<PcreRegex> pattern;
    State next;
    Action act;
  };
  using Me = RuleTable&;

  static std::vector<Rule> make_rules() {
    return {
        {kMain, "#", kLine},
        {kMain, "/\\*", kBlock},
        {kMain, "user_pref\\(\"", kName},
        {kMain, "[ \\t\\n]+", kMain},
        {kBlock, "\\*/", kMain},
        {kBlock, "[^\\n]", kBlock},
        {kLine, "\\n", kMain},
        {kLine, "[^\\n]+", kLine},
        {kName, "[^\"]+", kName, [](Me me, auto text) { me._name = text; }},
        {kName, "\",[ \\t]*", kValue},
        {kValue, "true", kEnd,
         [](Me me, auto) { me._sink.set_bool(me._name, true); }},
        {kValue, "false", kEnd,
         [](Me me, auto) { me._sink.set_bool(me._name, false); }},
        {kValue, "[0-9]+", kEnd,
         // 32 bits; the largest number stands for what is beyond.
         [](Me me, auto text) {
           me._sink.set_int(me._name, std::strtol(text, nullptr, 10));
         }},
        {kValue, "\"", kString, [](Me me, auto) { me._buffer.clear(); }},
        {kString, "\\\\[^\\n]", kString,
         [](Me me, auto text) { me._buffer += text; }},
        {kString, "[^\"]", kString,
         [](Me me, auto text) { me._buffer += text; }},
        {kString, "\"", kEnd,
         [](Me me, auto) { me._sink.set_string(me._name, me._buffer); }},
        {kEnd, "[ \\t]+", kEnd},
        {kEnd, "\\)[ \\t]*;", kMain},
    };
  }

  PrefSink& _sink;
  State _state = kMain;
  std::string _name, _buffer;
};

}  // namespace vel::test

#endif  // VEL_TESTS_BROWSER_RULETABLE_H_
