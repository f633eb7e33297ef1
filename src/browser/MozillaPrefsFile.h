#ifndef VEL_BROWSER_MOZILLAPREFSFILE_H_
#define VEL_BROWSER_MOZILLAPREFSFILE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "browser/PrefSink.h"
#include "browser/PrefValue.h"

namespace vel {

// The prefs.js of a Firefox profile: opened, changed, and saved by the
// destructor. For one job on one thread.
//
// Names and string values are bytes of the file. A string value is the raw text
// between the quotes, so that it is written as it was read: escape_pref_string
// and unescape_pref_string are for the caller.
//
// No operation tells of a failure but by a getter's false. A file that can't be
// read is an empty table; one that can't be written stays as it is. A file that
// memory can't hold is an empty table too, and is never written, whatever is
// set.
class MozillaPrefsFile : public PrefSink {
 public:
  explicit MozillaPrefsFile(std::wstring path);
  // Writes the file anew if it held a preference or was given one, changed or
  // not: sorted by name, with CR LF, without comments and other statements.
  ~MozillaPrefsFile() override;
  MozillaPrefsFile(const MozillaPrefsFile&) = delete;
  MozillaPrefsFile& operator=(const MozillaPrefsFile&) = delete;

  // Each replaces a preference of that name, whatever its kind.
  void set_bool(std::string_view name, bool value) override;
  void set_int(std::string_view name, std::int64_t value) override;
  void set_string(std::string_view name, std::string_view raw) override;

  // False leaves `out` alone: there is no such preference or it has another
  // kind. get_text gives any kind as it stands in the file, a string with its
  // quotes. get_int takes no negative number: a file holds none after a scan.
  bool get_text(std::string_view name, std::string& out) const;
  bool get_string(std::string_view name, std::string& out) const;
  bool get_bool(std::string_view name, bool& out) const;
  bool get_int(std::string_view name, std::int64_t& out) const;

  // Keeps the value of `name` under `target` too, unless that is taken or the
  // value is the string `raw`.
  void copy_if_differs(std::string_view name, std::string_view target,
                       std::string_view raw);
  // Gives all preferences with `part` in their name this number.
  void set_int_where_name_contains(std::string_view part, std::int64_t value);
  // Adds the texts of the preferences whose names, in the system's ANSI code
  // page, match the wildcard pattern; an empty one takes all.
  void collect_matching(const std::string& pattern,
                        std::map<std::string, std::string>& out) const;

  // The text that a save writes, put behind `out`.
  void append_text(std::string& out) const;

 private:
  void set(std::string_view name, std::shared_ptr<PrefValue> value);
  const PrefValue* find(std::string_view name) const;

  // By name, in the order of the bytes.
  std::map<std::string, std::shared_ptr<PrefValue>, std::less<>> _prefs;
  const std::wstring _path;
  bool _dirty = false;
  // Memory ran out while the file was read.
  bool _lost = false;
  // The length of the file as it was read.
  std::uint64_t _size_hint = 0;
};

// A line feed, a carriage return, a quote or a backslash becomes \n, \r, \" or
// \\ .
std::string escape_pref_string(std::string_view text);
// The reverse. Any other byte behind a backslash stands for itself, and a
// backslash at the end stays.
std::string unescape_pref_string(std::string_view raw);

}  // namespace vel

#endif  // VEL_BROWSER_MOZILLAPREFSFILE_H_
