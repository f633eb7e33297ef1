// The long and the short form of paths with 8.3 names in them. The thread's
// last error is kept. Any thread.
#ifndef VEL_FOUNDATION_LONGPATH_H_
#define VEL_FOUNDATION_LONGPATH_H_

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "sync/ThreadAnnotations.h"
#include "sync/VelRWLock.h"

namespace vel {

// The long forms found of late. An entry lives 60 seconds from its last use; a
// full table takes nothing new until dead entries have been pruned.
//
// `now` is the present tick count in milliseconds.
class LongPathCache {
 public:
  static constexpr std::uint64_t kLifetime = 60000;
  static constexpr std::uint64_t kPrunePause = 5000;
  static constexpr std::size_t kLimit = 1024;

  LongPathCache() = default;
  LongPathCache(const LongPathCache&) = delete;
  LongPathCache& operator=(const LongPathCache&) = delete;

  // The long form of `path` if a live entry has it, which counts as a use.
  std::optional<std::wstring> find(const std::wstring& path, std::uint64_t now);
  void enter(const std::wstring& path, const std::wstring& long_form,
             std::uint64_t now);
  std::size_t size();

 private:
  struct Entry {
    Entry(const std::wstring& form, std::uint64_t tick)
        : long_form(form), last_use(tick) {}
    bool is_live(std::uint64_t now) const;

    std::wstring long_form;
    std::atomic<std::uint64_t> last_use;  // Set by readers.
  };

  void prune(std::uint64_t now) VEL_REQUIRES(_lock);

  VelRWLock _lock;
  std::map<std::wstring, Entry> _entries VEL_GUARDED_BY(_lock);
  std::uint64_t _next_prune VEL_GUARDED_BY(_lock) = 0;
};

// The characters of the longest path that the system knows. What is longer is
// text that somebody sent: it is handed back as it is, without a look at a
// disk.
inline constexpr std::size_t kLongestPath = 32767;

// `path` with each 8.3 component replaced by its long name. A component that
// can't be looked up stays. A leading \??\ is kept.
std::wstring long_path(const std::wstring& path);

struct LongForm {
  std::wstring text;
  bool is_complete;  // Each short component was found.
};

// Finds the name that the file system has for the last component of `path`: 0,
// or the system's error.
using NameLookup = DWORD (*)(const std::wstring& path, std::wstring& name);

// long_path without its memory of earlier answers, by another way to look names
// up. Each component is looked up once at most.
LongForm lengthen_path(const std::wstring& path, NameLookup look_up);

// The 8.3 form of an existing path of up to 259 characters, else the path
// itself.
std::wstring short_path(const std::wstring& path);

}  // namespace vel

#endif  // VEL_FOUNDATION_LONGPATH_H_
