#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "log/VelLog.h"
#include "support/ScopedVariable.h"
#include "support/VelLogStreamPeer.h"

namespace vel::test {

LogCapture::LogCapture(unsigned level, const std::wstring& path) {
  EXPECT_EQ(log_object.load(), nullptr) << "a log is on already";
  if (path.empty()) _directory.emplace();
  const ScopedVariable temporary(
      L"TMP", _directory ? _directory->path()
                         : path.substr(0, path.find_last_of(L'\\')));
  SetEnvironmentVariableW(L"VELLOG", std::to_wstring(level).c_str());
  SetEnvironmentVariableW(L"VELLOGFLAGS", L"1");
  IVelLog::create(L"VELTEST");
  if (!path.empty()) VelLogStreamPeer().move_to(path);
  if (const wchar_t* open = VelLog_GetPath()) _path = open;
  EXPECT_FALSE(_path.empty()) << "the log has no file";
}

LogCapture::~LogCapture() {
  IVelLog::release();
  SetEnvironmentVariableW(L"VELLOG", nullptr);
  SetEnvironmentVariableW(L"VELLOGFLAGS", nullptr);
}

void LogCapture::ExpirePushInterval() {
  VelLogStreamPeer().next_flush_tick() = GetTickCount();
}

LogLock& LogCapture::Lock() {
  return VelLogStreamPeer().lock();
}

std::vector<LogLine> LogCapture::Lines() const {
  VelLog_FlushBuffer();
  return ReadLog(_path);
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

}  // namespace vel::test
