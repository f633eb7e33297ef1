// The records of a log file, one after the other.
#ifndef VEL_TOOLS_SWLCAT_RECORDREADER_H_
#define VEL_TOOLS_SWLCAT_RECORDREADER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "swlcat/Problems.h"
#include "swlcat/RecordSearch.h"
#include "swlcat/RecordText.h"
#include "swlcat/StreamFile.h"

namespace swlcat {

// Records begin at a unit, and end with CR LF and zeros up to the next one.
// What breaks that is told to `problems`, once for each place, and reading goes
// on at the next record, wherever it begins. A record that was cut off is given
// as far as it goes; so is one with a single damaged unit of the cipher; any
// other damaged one is passed over. Memory: one block of the file and one
// record.
class RecordReader {
 public:
  RecordReader(std::wstring path, std::unique_ptr<StreamFile> file,
               Problems& problems);

  // False when there is no whole record left for now. Call it again when the
  // file may have grown.
  bool next(Record& record);
  // The file won't grow any more: tells what is left of a record or a unit.
  void finish();
  // Where the reader is in the file.
  std::uint64_t offset() const { return _block_offset + _at; }
  // Whether the path leads to another file by now, or this one was emptied.
  bool is_replaced() const {
    return _file->is_replaced(_block_offset + _block_size);
  }

 private:
  enum class Step { kGoOn, kRecord, kWait };

  // A place that couldn't be read.
  struct Damage {
    const wchar_t* what;
    std::uint64_t offset;
    std::uint64_t from;  // nothing is taken from here to the next record
  };

  bool fill();
  void move_to(std::uint64_t offset);
  std::wstring_view ahead(std::size_t chars) const;
  std::wstring_view unit() const { return ahead(kUnitChars); }

  Step begin();
  Step go_on(Record& record);
  Step take_unit(Record& record);
  Step take_damaged(Record& record);
  Step take_implausible(Record& record, std::wstring_view text);
  Step at_end(Record& record);
  Step complete(Record& record);
  Step give_up(Record& record, const wchar_t* what);
  void split(std::size_t end);
  std::uint64_t cut_off() const;
  bool file_has_end() const;
  bool finds_lead_in();
  bool is_implausible(std::wstring_view unit) const;
  bool ends_cut_write() const;

  Step lose(const wchar_t* what);
  Step find_next();
  bool is_filler(std::uint64_t from, std::uint64_t to) const;

  const std::wstring _path;
  const std::unique_ptr<StreamFile> _file;
  Problems& _problems;
  RecordSearch _search{*_file};
  std::vector<unsigned char> _block;
  std::uint64_t _block_offset;
  std::size_t _block_size = 0;
  std::size_t _at = 0;
  bool _seen_lead_in = false;
  bool _lost = false;  // because of _damage
  Damage _damage = {};
  // The record in hand.
  bool _in_record = false;
  bool _is_damaged = false;  // bytes are missing
  std::uint64_t _record_offset = 0;
  std::wstring _text;
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_RECORDREADER_H_
