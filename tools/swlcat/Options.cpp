#include "swlcat/Options.h"

#include <windows.h>

#include <cwchar>

#include "swlcat/BootClock.h"

namespace swlcat {

const char* const kHelp =
    R"(swlcat prints Brindlemar's log files (.swl, .swl.old) as UTF-8 text.

  swlcat [options] FILE...

A FILE may be a pattern (*.swl*) or a folder, which stands for all logs in it.
Several files are merged by their records' time since the start of Windows.

  --key FILE     private key (PEM) for enciphered files
  --follow       at the end wait for more, also across a rotation; Ctrl+C ends
  --level N      only records of level N and above (1 trace, 2 warning,
                 3 error, 4 notice, 5 fatal)
  --only N       only records of level N; 4 is no graver than 3
  --pid N        only records of this process; 0x in front for hexadecimal
  --grep TEXT    only records that hold TEXT, in any case of letters
  --since TIME   only records from TIME on: "2026-01-31 18:30:00" in the local
                 time of the machine that wrote the log, or how long ago:
                 90s, 15m, 2h, 1d. Records whose time isn't known are printed
  --json         one JSON object per record and line
  --help         this text

A line of the text:

  2026-01-31 18:30:00.125 +93784.510 1234:5678 4 the message

local time, seconds since the start of Windows, process and thread, level. The
local time comes from the record that each start of the program writes; without
one in reach it is shown as "-".

What is damaged or cut off is named on the error output, with its offset and
with the bytes that were passed over, and reading goes on at the next record. A
record that was cut off is printed as far as it goes. Exit codes: 0 everything
was read, 1 something couldn't be read, 2 the arguments are wrong. A warning
leaves the exit code at 0.
)";

namespace {

std::optional<std::uint64_t> parse_number(const std::wstring& text) {
  if (text.empty() || !iswdigit(text[0])) return {};
  wchar_t* end = nullptr;
  const bool hex = text.size() > 2 && (text[1] == L'x' || text[1] == L'X');
  const std::uint64_t value = _wcstoui64(text.c_str(), &end, hex ? 16 : 10);
  if (*end != L'\0') return {};
  return value;
}

// "90s", "15m", "2h", "1d" before now.
std::optional<std::int64_t> parse_age(const std::wstring& text) {
  const auto number = parse_number(text.substr(0, text.size() - 1));
  if (!number || *number > 1000000) return {};
  std::int64_t seconds = 0;
  switch (text.back()) {
    case L's':
      seconds = 1;
      break;
    case L'm':
      seconds = 60;
      break;
    case L'h':
      seconds = std::int64_t{60} * 60;
      break;
    case L'd':
      seconds = std::int64_t{24} * 60 * 60;
      break;
    default:
      return {};
  }
  SYSTEMTIME now;
  GetLocalTime(&now);
  return *local_milliseconds(now) -
         seconds * static_cast<std::int64_t>(*number) * 1000;
}

std::optional<std::int64_t> parse_time(const std::wstring& text) {
  unsigned year, month, day, hour = 0, minute = 0, second = 0;
  wchar_t tail = 0;
  const int fields =
      _snwscanf(text.c_str(), text.size(), L"%u-%u-%u%*[ T]%u:%u:%u%c", &year,
                &month, &day, &hour, &minute, &second, &tail);
  if (fields == 3 || fields == 5 || fields == 6) {
    return local_milliseconds(
        make_time(year, month, day, hour, minute, second));
  }
  return text.size() > 1 ? parse_age(text) : std::nullopt;
}

// Takes the options one after the other; each may need a value.
class Parser {
 public:
  Parser(const std::vector<std::wstring>& arguments, std::wstring& error)
      : _arguments(arguments), _error(error) {}

  std::optional<Options> parse() {
    while (_at < _arguments.size()) {
      if (!take(_arguments[_at++])) return {};
    }
    if (_options.help) return _options;
    if (_options.files.empty()) {
      _error = L"which file?";
      return {};
    }
    return _options;
  }

 private:
  bool take(const std::wstring& name) {
    if (name.size() < 2 || name[0] != L'-') {
      _options.files.push_back(name);
      return true;
    }
    if (name == L"--help") return _options.help = true;
    if (name == L"--follow") return _options.follow = true;
    if (name == L"--json") return _options.json = true;
    if (name == L"--key") return take_text(name, _options.key);
    if (name == L"--grep") return take_text(name, _options.grep);
    if (name == L"--level") return take_level(name, _options.level);
    if (name == L"--only") return take_level(name, _options.only.emplace());
    if (name == L"--pid") return take_process(name);
    if (name == L"--since") return take_since(name);
    return fail(name, L"no such option");
  }

  bool take_text(const std::wstring& name, std::wstring& value) {
    if (_at == _arguments.size() || _arguments[_at].empty()) {
      return fail(name, L"needs a value");
    }
    value = _arguments[_at++];
    return true;
  }

  bool take_level(const std::wstring& name, unsigned& level) {
    std::wstring text;
    if (!take_text(name, text)) return false;
    const auto value = parse_number(text);
    if (!value || *value > 5) return fail(name, L"needs a number from 0 to 5");
    level = static_cast<unsigned>(*value);
    return true;
  }

  bool take_process(const std::wstring& name) {
    std::wstring text;
    if (!take_text(name, text)) return false;
    const auto value = parse_number(text);
    if (!value || *value > MAXDWORD) return fail(name, L"needs a process id");
    _options.process = static_cast<std::uint32_t>(*value);
    return true;
  }

  bool take_since(const std::wstring& name) {
    std::wstring text;
    if (!take_text(name, text)) return false;
    _options.since = parse_time(text);
    return _options.since.has_value() || fail(name, L"needs a time");
  }

  bool fail(const std::wstring& name, const wchar_t* what) {
    _error = name + L": " + what;
    return false;
  }

  const std::vector<std::wstring>& _arguments;
  std::wstring& _error;
  std::size_t _at = 0;
  Options _options;
};

}  // namespace

std::optional<Options> parse_options(const std::vector<std::wstring>& arguments,
                                     std::wstring& error) {
  return Parser(arguments, error).parse();
}

}  // namespace swlcat
