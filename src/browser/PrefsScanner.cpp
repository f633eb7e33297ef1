#include "browser/PrefsScanner.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>

#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constinit VelFastMutex scanner_lock;

bool is_digit(char byte) {
  return byte >= '0' && byte <= '9';
}

bool is_blank(char byte) {
  return byte == ' ' || byte == '\t';
}

// Each step goes to what it looks for and past it; false says that the text has
// ended first.
class PrefsScanner {
 public:
  PrefsScanner(const std::string& text, PrefSink& sink)
      : _text(text), _sink(sink) {}

  void run() {
    while (find_statement() && read_name() && read_value() && find_end()) {
    }
  }

 private:
  bool find_statement();
  bool read_name();
  bool read_value();
  std::int32_t read_number();
  bool read_string();
  void send_string(std::string_view raw);
  bool find_end();

  bool at_end() const { return _at == _text.size(); }
  bool take(std::string_view word);
  bool skip_past(std::string_view word);
  void skip_blanks();
  std::size_t find_closing_quote() const;

  const std::string_view _text;
  PrefSink& _sink;
  std::size_t _at = 0;
  std::string_view _name;
};

bool PrefsScanner::find_statement() {
  while (!at_end()) {
    if (take("user_pref(\"")) return true;
    if (take("#")) {
      if (!skip_past("\n")) return false;
    } else if (take("/*")) {
      if (!skip_past("*/")) return false;
    } else {
      ++_at;
    }
  }
  return false;
}

// A quote that no comma follows is passed over, and the text behind it takes
// the place of the name so far.
bool PrefsScanner::read_name() {
  for (;;) {
    const std::size_t quote = _text.find('"', _at);
    if (quote == std::string_view::npos) return false;
    if (quote > _at) {
      const std::string_view name = _text.substr(_at, quote - _at);
      _name = name.substr(0, name.find('\0'));
    }
    _at = quote;
    if (take("\",")) break;
    ++_at;
  }
  skip_blanks();
  return true;
}

bool PrefsScanner::read_value() {
  for (; !at_end(); ++_at) {
    if (take("\"")) return read_string();
    if (is_digit(_text[_at])) {
      _sink.set_int(_name, read_number());
      return true;
    }
    const bool value = take("true");
    if (value || take("false")) {
      _sink.set_bool(_name, value);
      return true;
    }
  }
  return false;
}

// The largest number stands for those past 32 bits, as the documentation of
// atoi has it: runtimes differ there, and what is saved has to be read alike.
std::int32_t PrefsScanner::read_number() {
  const char* const begin = _text.data() + _at;
  std::int32_t number = 0;
  const auto [end, error] =
      std::from_chars(begin, _text.data() + _text.size(), number);
  _at += static_cast<std::size_t>(end - begin);
  return error == std::errc() ? number
                              : std::numeric_limits<std::int32_t>::max();
}

bool PrefsScanner::read_string() {
  const std::size_t quote = find_closing_quote();
  if (quote == _text.size()) return false;
  send_string(_text.substr(_at, quote - _at));
  _at = quote + 1;
  return true;
}

void PrefsScanner::send_string(std::string_view raw) {
  if (raw.find('\0') == std::string_view::npos) {
    _sink.set_string(_name, raw);
    return;
  }
  std::string without_nul(raw);
  std::erase(without_nul, '\0');
  _sink.set_string(_name, without_nul);
}

// A backslash hides the byte behind it, also another backslash: a quote counts
// when an even number of them stands in front of it.
std::size_t PrefsScanner::find_closing_quote() const {
  for (std::size_t quote = _text.find('"', _at);
       quote != std::string_view::npos; quote = _text.find('"', quote + 1)) {
    std::size_t run = quote;
    while (run > _at && _text[run - 1] == '\\') --run;
    if ((quote - run) % 2 == 0) return quote;
  }
  return _text.size();
}

bool PrefsScanner::find_end() {
  while (skip_past(")")) {
    skip_blanks();
    if (take(";")) return true;
  }
  return false;
}

bool PrefsScanner::take(std::string_view word) {
  if (_text.compare(_at, word.size(), word) != 0) return false;
  _at += word.size();
  return true;
}

bool PrefsScanner::skip_past(std::string_view word) {
  const std::size_t found = _text.find(word, _at);
  if (found == std::string_view::npos) return false;
  _at = found + word.size();
  return true;
}

void PrefsScanner::skip_blanks() {
  while (!at_end() && is_blank(_text[_at])) ++_at;
}

}  // namespace

void scan_prefs(const std::string& text, PrefSink& sink) {
  const VelFastMutex::Scope one_at_a_time(scanner_lock);
  PrefsScanner(text, sink).run();
}

}  // namespace vel
