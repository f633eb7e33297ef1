#include "swlcat/Printer.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>

#include "swlcat/BootClock.h"
#include "swlcat/Utf8.h"

namespace swlcat {
namespace {

constexpr std::size_t kFlushSize = 0x10000;

bool contains_no_case(const std::wstring& text, const std::wstring& part) {
  return FindStringOrdinal(FIND_FROMSTART, text.data(),
                           static_cast<int>(text.size()), part.data(),
                           static_cast<int>(part.size()), TRUE) >= 0;
}

}  // namespace

bool Printer::is_wanted(const Record& record,
                        std::optional<std::int64_t> time) const {
  if (record.has_prefix &&
      (record.level < _options.level ||
       record.level != _options.only.value_or(record.level))) {
    return false;
  }
  if (_options.process && record.process != *_options.process) return false;
  if (_options.since && time && *time < *_options.since) return false;
  return _options.grep.empty() || contains_no_case(record.text, _options.grep);
}

void Printer::print(const std::wstring& file, const Record& record,
                    std::uint64_t tick, std::optional<std::int64_t> time) {
  if (!is_wanted(record, time)) return;
  if (_options.json) {
    print_json(file, record, tick, time);
  } else {
    print_text(file, record, tick, time);
  }
  if (_out.size() >= kFlushSize) flush();
}

bool Printer::flush() {
  std::fwrite(_out.data(), 1, _out.size(), stdout);
  _out.clear();
  return std::fflush(stdout) == 0 && !std::ferror(stdout);
}

void Printer::print_text(const std::wstring& file, const Record& record,
                         std::uint64_t tick, std::optional<std::int64_t> time) {
  if (_names_files) {
    append_utf8(_out, file);
    _out += ": ";
  }
  append_utf8(_out, time ? time_text(*time) : L"-");
  append(" +%I64u.%03u %u:%u %u ", tick / 1000,
         static_cast<unsigned>(tick % 1000), record.process, record.thread,
         record.level);
  append_utf8(_out, record.text);
  _out += '\n';
}

void Printer::print_json(const std::wstring& file, const Record& record,
                         std::uint64_t tick, std::optional<std::int64_t> time) {
  _out += "{\"file\":";
  append_string(file);
  append(",\"offset\":%I64u,\"time\":", record.offset);
  if (time) {
    append_string(time_text(*time));
  } else {
    _out += "null";
  }
  append(",\"tick\":%I64u,\"pid\":%u,\"tid\":%u,\"level\":%u,\"text\":", tick,
         record.process, record.thread, record.level);
  append_string(record.text);
  _out += "}\n";
}

void Printer::append_string(std::wstring_view text) {
  _out += '"';
  std::size_t plain = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const wchar_t character = text[i];
    if (character >= L' ' && character != L'"' && character != L'\\') continue;
    append_utf8(_out, text.substr(plain, i - plain));
    append("\\u%04x", character);
    plain = i + 1;
  }
  append_utf8(_out, text.substr(plain));
  _out += '"';
}

void Printer::append(const char* format, ...) {
  char text[128];
  va_list arguments;
  va_start(arguments, format);
  const int length = _vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length > 0) _out.append(text, static_cast<std::size_t>(length));
}

}  // namespace swlcat
