#include "support/LogCapture.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <utility>

#include "log/VelLog.h"
#include "log/VelLogStream.h"
#include "sync/NtApi.h"

namespace vel {

class VelLogStreamPeer {
 public:
  // The stream closes `file` at its end.
  static void SetFile(HANDLE file) {
    VelLogStream* stream = log_object.load();
    ASSERT_NE(stream, nullptr);
    const HANDLE old = std::exchange(stream->_file, file);
    if (old != nullptr) nt::ZwClose(old);
  }
  static void ExpirePushInterval() {
    log_object.load()->_next_flush_tick = GetTickCount();
  }
  static LogLock& Lock() { return log_object.load()->_lock; }
};

}  // namespace vel

namespace vel::test {
namespace {

constexpr std::size_t kUnitChars = 8;

HANDLE CreateLogFile(const std::wstring& path) {
  HANDLE file =
      CreateFileW(path.c_str(), FILE_READ_DATA | FILE_APPEND_DATA | SYNCHRONIZE,
                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  EXPECT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
  unsigned char header[LogCapture::kHeaderBytes] = "VELLOG.0";
  header[8] = 0xFF;
  header[9] = 0xFE;
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(file, header, sizeof header, &written, nullptr));
  return file;
}

std::string ReadBytes(const std::wstring& path) {
  const HANDLE file =
      CreateFileW(path.c_str(), GENERIC_READ,
                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  EXPECT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
  std::string bytes(GetFileSize(file, nullptr), '\0');
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()),
                       &got, nullptr));
  CloseHandle(file);
  return bytes;
}

// "[tick:process:thread:level] text"
LogLine ParseLine(const std::wstring& line) {
  LogLine parsed;
  const int fields =
      std::swscanf(line.c_str(), L"[%x:%x:%x:%x] ", &parsed.tick,
                   &parsed.process, &parsed.thread, &parsed.level);
  EXPECT_EQ(fields, 4) << "a record without a prefix";
  if (fields == 4) parsed.text = line.substr(line.find(L"] ") + 2);
  return parsed;
}

}  // namespace

LogCapture::LogCapture(unsigned level) : _path(_directory.File(L"test.swl")) {
  TurnOn(level);
}

LogCapture::LogCapture(unsigned level, const std::wstring& path) : _path(path) {
  TurnOn(level);
}

LogCapture::~LogCapture() {
  IVelLog::release();
  SetEnvironmentVariableW(L"VELLOG", nullptr);
}

void LogCapture::TurnOn(unsigned level) {
  EXPECT_EQ(log_object.load(), nullptr) << "a log is on already";
  SetEnvironmentVariableW(L"VELLOG", std::to_wstring(level).c_str());
  IVelLog::create(L"VELTEST");
  VelLogStreamPeer::SetFile(CreateLogFile(_path));
}

void LogCapture::ExpirePushInterval() {
  VelLogStreamPeer::ExpirePushInterval();
}

LogLock& LogCapture::Lock() {
  return VelLogStreamPeer::Lock();
}

std::string LogCapture::Bytes() const {
  return ReadBytes(_path);
}

std::vector<LogLine> LogCapture::Lines() const {
  VelLog_FlushBuffer();
  return Read(_path);
}

bool LogCapture::Contains(unsigned level, std::wstring_view text) const {
  return Contains(Lines(), level, text);
}

bool LogCapture::Contains(const std::vector<LogLine>& lines, unsigned level,
                          std::wstring_view text) {
  return std::any_of(lines.begin(), lines.end(), [&](const LogLine& line) {
    return line.level == level && line.text.find(text) != std::wstring::npos;
  });
}

std::vector<LogLine> LogCapture::Read(const std::wstring& path) {
  const std::string bytes = ReadBytes(path);
  std::vector<LogLine> lines;
  if (bytes.size() < kHeaderBytes) return lines;
  std::wstring text((bytes.size() - kHeaderBytes) / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data() + kHeaderBytes,
              text.size() * sizeof(wchar_t));
  EXPECT_EQ(text.size() % kUnitChars, 0u);
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find(L"\r\n", begin);
    EXPECT_NE(end, std::wstring::npos) << "a record without an end";
    if (end == std::wstring::npos) break;
    lines.push_back(ParseLine(text.substr(begin, end - begin)));
    begin = text.find_first_not_of(L'\0', end + 2);
  }
  return lines;
}

}  // namespace vel::test
