// Finds the records after damage.
#ifndef VEL_TOOLS_SWLCAT_RECORDSEARCH_H_
#define VEL_TOOLS_SWLCAT_RECORDSEARCH_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "swlcat/StreamFile.h"

namespace swlcat {

// Damage may leave everything that follows off the borders of the units, so
// each byte counts as a place where a unit, and with it a record, may begin.
class RecordSearch {
 public:
  // `file` outlives the search.
  explicit RecordSearch(const StreamFile& file) : _file(file) {}

  // The first place from `offset` on where a record begins; nothing when there
  // is none for now. What has been looked through isn't looked through again
  // as long as the offsets that are asked for rise.
  std::optional<std::uint64_t> next(std::uint64_t offset);

 private:
  // Looks on from _to: false at the end of the file.
  bool look();

  const StreamFile& _file;
  std::vector<unsigned char> _buffer;
  // No record begins from _from to _to.
  std::uint64_t _from = 0;
  std::uint64_t _to = 0;
  bool _found = false;  // at _to
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_RECORDSEARCH_H_
