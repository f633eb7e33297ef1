// The records of a log file, one after the other.
#ifndef VEL_TOOLS_SWLCAT_RECORDREADER_H_
#define VEL_TOOLS_SWLCAT_RECORDREADER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "swlcat/Problems.h"
#include "swlcat/StreamFile.h"

namespace swlcat {

struct Record {
  std::uint64_t offset = 0;  // of its first unit in the file
  // The one record of a file that tells of a missing stream key has no prefix:
  // its four numbers are 0.
  bool has_prefix = true;
  std::uint32_t tick = 0;
  std::uint32_t process = 0;
  std::uint32_t thread = 0;
  std::uint32_t level = 0;
  std::wstring text;  // without prefix and end
};

// Records begin at a unit, and end with CR LF and zeros up to the next one.
// What breaks that is told to `problems`, once for each place, and reading goes
// on at the next unit that begins a record. Memory: one block of the file and
// one record.
class RecordReader {
 public:
  RecordReader(std::wstring path, std::unique_ptr<StreamFile> file,
               Problems& problems);

  // False when there is no whole record left for now. Call it again when the
  // file may have grown.
  bool next(Record& record);
  // The file won't grow any more: tells what is left of a record or a unit.
  void finish();
  const StreamFile& file() const { return *_file; }

 private:
  enum class Unit { kMore, kEndsRecord, kDamaged };

  bool fill();
  const wchar_t* unit() const;
  std::uint64_t unit_offset() const { return _block_offset + _at; }
  void begin_at_this_unit();
  Unit take_unit();
  bool complete(Record& record);
  void skip_damage(const wchar_t* what);

  const std::wstring _path;
  const std::unique_ptr<StreamFile> _file;
  Problems& _problems;
  std::vector<unsigned char> _block;
  std::uint64_t _block_offset = 0;
  std::size_t _block_size = 0;
  std::size_t _at = 0;
  bool _seen_lead_in = false;
  bool _skipping = false;  // until a unit begins a record
  // The record in hand.
  bool _in_record = false;
  std::uint64_t _record_offset = 0;
  std::wstring _text;
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_RECORDREADER_H_
