// swlcat: prints log files. See Options.cpp for what it can do.
#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <atomic>
#include <cstdio>
#include <memory>

#include "swlcat/BootClock.h"
#include "swlcat/Inputs.h"
#include "swlcat/Options.h"
#include "swlcat/Printer.h"
#include "swlcat/RecordReader.h"

namespace swlcat {
namespace {

enum ExitCode : int { kAllRead = 0, kNotAllRead = 1, kWrongArguments = 2 };

constexpr DWORD kFollowPause = 300;  // ms
// How far into a file the date is looked for before the first record is shown.
constexpr std::uint64_t kClockSearch = 16 << 20;  // bytes

HANDLE stop_event = nullptr;
// The same, for a look after each record.
std::atomic<bool> stopping{false};

BOOL WINAPI on_console_event(DWORD) {
  stopping = true;
  SetEvent(stop_event);
  return TRUE;
}

// One of the files, with the record that is its next.
class Source {
 public:
  Source(std::wstring path, const PrivateKey& key, Problems& problems,
         bool follow)
      : _path(std::move(path)),
        _key(key),
        _problems(problems),
        _follow(follow) {}

  // Opens the file if it isn't open, and goes to its first record.
  bool open() {
    std::wstring error;
    auto file = StreamFile::open(_path, _key, error);
    if (!file) {
      if (!error.empty() && !_told) _problems.file(_path, error);
      // A file that is to come is waited for in silence.
      _told = true;
      return false;
    }
    _told = false;
    _reader = std::make_unique<RecordReader>(_path, std::move(file), _problems);
    return true;
  }

  // Looks for the date at the beginning, with a reader of its own.
  void find_clock() {
    std::wstring error;
    Problems unheard(false);
    auto file = StreamFile::open(_path, _key, error);
    if (!file) return;
    RecordReader reader(_path, std::move(file), unheard);
    BootClock clock;
    Record record;
    while (!clock.knows() && reader.offset() < kClockSearch &&
           reader.next(record)) {
      clock.learn(clock.extend(record.tick), record.text);
    }
    if (clock.knows()) _clock.take_over(clock);
  }

  // Makes the next record the current one, unless there is one.
  bool advance() {
    if (_has_record) return true;
    if (!_reader && (!_follow || !open())) return false;
    _has_record = _reader->next(_record);
    if (!_has_record) _has_record = at_end();
    if (!_has_record) return false;
    _tick = _clock.extend(_record.tick);
    _clock.learn(_tick, _record.text);
    return true;
  }
  void drop() { _has_record = false; }

  const std::wstring& path() const { return _path; }
  const Record& record() const { return _record; }
  std::uint64_t tick() const { return _tick; }
  BootClock& clock() { return _clock; }

 private:
  // A file that was followed to its end gives way to its successor.
  bool at_end() {
    if (_follow && !_reader->is_replaced()) return false;
    // What has come meanwhile.
    if (_reader->next(_record)) return true;
    _reader->finish();
    _reader.reset();
    return false;
  }

  const std::wstring _path;
  const PrivateKey& _key;
  Problems& _problems;
  const bool _follow;
  bool _told = false;
  std::unique_ptr<RecordReader> _reader;
  bool _has_record = false;
  Record _record;
  std::uint64_t _tick = 0;
  BootClock _clock;
};

// Files without a date of their own belong to the same start of Windows as one
// that has one.
void share_clocks(std::vector<Source>& sources) {
  for (Source& source : sources) source.find_clock();
  for (Source& source : sources) {
    for (Source& other : sources) {
      if (!source.clock().knows() && other.clock().knows()) {
        source.clock().take_over(other.clock());
      }
    }
  }
}

// The source with the oldest record; null when none has one for now.
Source* oldest(std::vector<Source>& sources) {
  Source* result = nullptr;
  for (Source& source : sources) {
    if (source.advance() && (!result || source.tick() < result->tick())) {
      result = &source;
    }
  }
  return result;
}

bool was_stopped(DWORD wait) {
  return WaitForSingleObject(stop_event, wait) == WAIT_OBJECT_0;
}

int print_files(const Options& options, const PrivateKey& key) {
  Problems problems;
  std::vector<Source> sources;
  for (const std::wstring& path : list_inputs(options.files, problems)) {
    sources.emplace_back(path, key, problems, options.follow);
    sources.back().open();
  }
  share_clocks(sources);
  Printer printer(options, sources.size() > 1);
  do {
    while (Source* const source = oldest(sources)) {
      printer.print(source->path(), source->record(), source->tick(),
                    source->clock().time_of(source->tick()));
      source->drop();
      if (stopping) break;
    }
    if (!printer.flush()) return kNotAllRead;
  } while (options.follow && !was_stopped(kFollowPause));
  return problems.any() ? kNotAllRead : kAllRead;
}

int run(const std::vector<std::wstring>& arguments) {
  std::wstring error;
  const auto options = parse_options(arguments, error);
  if (!options) {
    std::fprintf(stderr, "swlcat: %s\nswlcat --help tells more.\n",
                 utf8(error).c_str());
    return kWrongArguments;
  }
  if (options->help) {
    std::fputs(kHelp, stdout);
    return kAllRead;
  }
  PrivateKey key;
  if (!options->key.empty()) {
    auto loaded = PrivateKey::load(options->key, error);
    if (!loaded) {
      std::fprintf(stderr, "swlcat: %s\n", utf8(error).c_str());
      return kWrongArguments;
    }
    key = *loaded;
  }
  return print_files(*options, key);
}

}  // namespace
}  // namespace swlcat

int wmain(int argc, wchar_t** argv) {
  swlcat::stop_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(&swlcat::on_console_event, TRUE);
  SetConsoleOutputCP(CP_UTF8);
  _setmode(_fileno(stdout), _O_BINARY);
  return swlcat::run({argv + 1, argv + argc});
}
