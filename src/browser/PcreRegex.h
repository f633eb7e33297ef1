#ifndef VEL_BROWSER_PCREREGEX_H_
#define VEL_BROWSER_PCREREGEX_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

struct real_pcre;
struct pcre_extra;

namespace vel {

// A compiled regular expression over bytes. match() serves any thread at any
// time; search() works in a vector of the object, so one thread at a time.
// A subject of 2 GiB or more ends the process.
class PcreRegex {
 public:
  // Start and end of a piece of the subject, -1 for a group without a part in
  // the match.
  using Range = std::pair<int, int>;

  // Throws std::runtime_error with the library's text for a bad pattern.
  explicit PcreRegex(const std::string& pattern);
  virtual ~PcreRegex() = default;

  // Whether the pattern matches anywhere in the subject.
  bool match(const std::string& subject) const;
  // The same, and puts the range of the first match and that of each group
  // behind `out`.
  bool search(const std::string& subject, std::vector<Range>& out);

 private:
  std::shared_ptr<real_pcre> _pattern;
  std::shared_ptr<pcre_extra> _study;
  std::vector<int> _offsets;
  int _captures = 0;
};

}  // namespace vel

#endif  // VEL_BROWSER_PCREREGEX_H_
