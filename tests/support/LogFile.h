// Reads log files as their owner does: with the private half of the key pair.
#ifndef VEL_TESTS_SUPPORT_LOGFILE_H_
#define VEL_TESTS_SUPPORT_LOGFILE_H_

#include <string>
#include <vector>

namespace vel::test {

struct LogLine {
  unsigned tick = 0;
  unsigned process = 0;
  unsigned thread = 0;
  unsigned level = 0;
  std::wstring text;  // without prefix, CR LF and padding
};

// The bytes of a file that others may have open; empty when there is none.
std::string ReadBytes(const std::wstring& path);

// The units behind the header of a log file, deciphered where they have to be.
// Every fault of the file fails the test.
std::string ReadUnits(const std::wstring& path);

// The records of a log file. A record that isn't whole fails the test.
std::vector<LogLine> ReadLog(const std::wstring& path);

// False when the build was given a public key alone.
bool HasPrivateKey();
std::wstring PrivateKeyPath();

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_LOGFILE_H_
