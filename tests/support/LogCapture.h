// The log of this process, turned on into a file of the test's own.
#ifndef VEL_TESTS_SUPPORT_LOGCAPTURE_H_
#define VEL_TESTS_SUPPORT_LOGCAPTURE_H_

#include <string>
#include <string_view>
#include <vector>

#include "log/LogLock.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

// One record, taken apart.
struct LogLine {
  unsigned tick = 0;
  unsigned process = 0;
  unsigned thread = 0;
  unsigned level = 0;
  std::wstring text;  // without prefix, CR LF and padding
};

// From here to the end of the scope the log keeps what is at `level` or above.
// No other log may be on. The destructor turns it off.
class LogCapture {
 public:
  explicit LogCapture(unsigned level = 1);
  // Into `path`, which stays: for a child process whose log its parent reads.
  LogCapture(unsigned level, const std::wstring& path);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // All records so far, the collected ones too: pushes the buffer out first.
  std::vector<LogLine> Lines() const;
  // A record of this level whose text has `text` in it.
  bool Contains(unsigned level, std::wstring_view text) const;
  // Only what is in the file, with nothing pushed out.
  std::vector<LogLine> LinesOnDisk() const { return Read(_path); }
  // The file as it is, the same way.
  std::string Bytes() const;

  static std::vector<LogLine> Read(const std::wstring& path);
  static bool Contains(const std::vector<LogLine>& lines, unsigned level,
                       std::wstring_view text);

  // Makes the next record push the buffer out, as after 5120 ms.
  static void ExpirePushInterval();
  // The log's lock: who holds it keeps the threads that log in their calls.
  static LogLock& Lock();

  // What a log file begins with: the mark and the lead-in unit.
  static constexpr std::size_t kHeaderBytes = 24;

 private:
  void TurnOn(unsigned level);

  ScratchDirectory _directory;
  std::wstring _path;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_LOGCAPTURE_H_
