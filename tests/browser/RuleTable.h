// The grammar of preference files as a table of rules, and its plain
// interpreter: what the scanner is measured by.
#ifndef VEL_TESTS_BROWSER_RULETABLE_H_
#define VEL_TESTS_BROWSER_RULETABLE_H_

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

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
      std::size_t longest = 0;
      const Rule* best = nullptr;
      for (const Rule& rule : rules) {
        if (rule.state != _state) continue;
        const std::size_t length = match(rule.pattern, input, at);
        if (length > longest) longest = length, best = &rule;
      }
      if (best) act(*best, input.substr(at, longest).c_str());
      at += best ? longest : 1;
    }
  }

 private:
  enum State { kMain, kBlock, kLine, kName, kValue, kString, kEnd };
  enum Action {
    kNothing,
    kSetName,
    kSetTrue,
    kSetFalse,
    kSetInt,
    kEmpty,
    kAppend,
    kSetString
  };
  // One byte of the set, or none of it; as often as `least` says, or more.
  struct Item {
    std::string_view set;
    bool negated = false;
    bool repeated = false;
    std::size_t least = 1;
  };
  using Pattern = std::vector<Item>;
  struct Rule {
    State state;
    Pattern pattern;
    Action action;
    State next;
  };

  static Pattern word(std::string_view text, Pattern behind = {}) {
    Pattern pattern;
    for (std::size_t i = 0; i < text.size(); ++i) {
      pattern.push_back({text.substr(i, 1)});
    }
    pattern.insert(pattern.end(), behind.begin(), behind.end());
    return pattern;
  }

  static std::vector<Rule> make_rules() {
    const Item blanks{" \t", false, true, 0};
    return {
        {kMain, word("#"), kNothing, kLine},
        {kMain, word("/*"), kNothing, kBlock},
        {kMain, word("user_pref(\""), kNothing, kName},
        {kMain, {{" \t\n", false, true}}, kNothing, kMain},
        {kBlock, word("*/"), kNothing, kMain},
        {kBlock, {{"\n", true}}, kNothing, kBlock},
        {kLine, word("\n"), kNothing, kMain},
        {kLine, {{"\n", true, true}}, kNothing, kLine},
        {kName, {{"\"", true, true}}, kSetName, kName},
        {kName, word("\",", {blanks}), kNothing, kValue},
        {kValue, word("true"), kSetTrue, kEnd},
        {kValue, word("false"), kSetFalse, kEnd},
        {kValue, {{"0123456789", false, true}}, kSetInt, kEnd},
        {kValue, word("\""), kEmpty, kString},
        {kString, word("\\", {{"\n", true}}), kAppend, kString},
        {kString, {{"\"", true}}, kAppend, kString},
        {kString, word("\""), kSetString, kEnd},
        {kEnd, {{" \t", false, true}}, kNothing, kEnd},
        {kEnd, word(")", {blanks, {";"}}), kNothing, kMain},
    };
  }

  // The length of the match, 0 for none. No item can take what the next one
  // needs, so that a greedy pass is enough.
  static std::size_t match(const Pattern& pattern, const std::string& input,
                           std::size_t from) {
    std::size_t at = from;
    for (const Item& item : pattern) {
      std::size_t count = 0;
      const std::size_t most = item.repeated ? input.size() : 1;
      while (count < most && at < input.size() &&
             (item.set.find(input[at]) == std::string::npos) == item.negated) {
        ++count, ++at;
      }
      if (count < item.least) return 0;
    }
    return at - from;
  }

  // `text` ends at its first NUL byte.
  void act(const Rule& rule, const char* text) {
    switch (rule.action) {
      case kNothing:
        break;
      case kSetName:
        _name = text;
        break;
      case kSetTrue:
        _sink.set_bool(_name, true);
        break;
      case kSetFalse:
        _sink.set_bool(_name, false);
        break;
      case kSetInt:
        _sink.set_int(_name, std::atoi(text));
        break;
      case kEmpty:
        _buffer.clear();
        break;
      case kAppend:
        _buffer += text;
        break;
      case kSetString:
        _sink.set_string(_name, _buffer);
        break;
    }
    _state = rule.next;
  }

  PrefSink& _sink;
  State _state = kMain;
  std::string _name, _buffer;
};

}  // namespace vel::test

#endif  // VEL_TESTS_BROWSER_RULETABLE_H_
