// Chooses records and prints them, as text or as JSON.
#ifndef VEL_TOOLS_SWLCAT_PRINTER_H_
#define VEL_TOOLS_SWLCAT_PRINTER_H_

#include <cstdint>
#include <optional>
#include <string>

#include "swlcat/Options.h"
#include "swlcat/RecordReader.h"

namespace swlcat {

class Printer {
 public:
  // `options` outlives the printer. With `names_files` each line of text says
  // which file it comes from.
  Printer(const Options& options, bool names_files)
      : _options(options), _names_files(names_files) {}

  // `tick` is the record's with the rounds of the counter, `time` its wall
  // clock, if that is known.
  void print(const std::wstring& file, const Record& record, std::uint64_t tick,
             std::optional<std::int64_t> time);
  // False when the output takes no more.
  bool flush();

 private:
  bool is_wanted(const Record& record, std::optional<std::int64_t> time) const;
  void print_text(const std::wstring& file, const Record& record,
                  std::uint64_t tick, std::optional<std::int64_t> time);
  void print_json(const std::wstring& file, const Record& record,
                  std::uint64_t tick, std::optional<std::int64_t> time);
  void append_string(std::wstring_view text);
  void append(const char* format, ...);

  const Options& _options;
  const bool _names_files;
  std::string _out;
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_PRINTER_H_
