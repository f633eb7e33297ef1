// The log of this process, turned on into a plain file of the test's own.
#ifndef VEL_TESTS_SUPPORT_LOGCAPTURE_H_
#define VEL_TESTS_SUPPORT_LOGCAPTURE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "log/LogLock.h"
#include "support/LogFile.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

// From here to the end of the scope the log keeps what is at `level` or above.
// No other log may be on. The destructor turns it off.
class [[nodiscard]] LogCapture {
 public:
  // With a `path` the file stays: for a child whose log its parent reads.
  [[nodiscard]] explicit LogCapture(unsigned level = 1,
                                    const std::wstring& path = L"");
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // All records so far, the collected ones too: pushes the buffer out first.
  std::vector<LogLine> Lines() const;
  bool Contains(unsigned level, std::wstring_view text) const;
  // Only what is in the file, with nothing pushed out.
  std::vector<LogLine> LinesOnDisk() const { return ReadLog(_path); }
  const std::wstring& path() const { return _path; }

  static bool Contains(const std::vector<LogLine>& lines, unsigned level,
                       std::wstring_view text);

  // Makes the next record push the buffer out, as after 5120 ms.
  static void ExpirePushInterval();
  // The log's lock: who holds it keeps the threads that log in their calls.
  static LogLock& Lock();

 private:
  std::optional<ScratchDirectory> _directory;
  std::wstring _path;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_LOGCAPTURE_H_
