#include "process/SystemVersions.h"

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

using test::LogCapture;

TEST(SystemVersionsTest, LogsProgramSystemAndProcessor) {
  LogCapture log;
  log_system_versions();
  EXPECT_TRUE(log.Contains(4, test::TestProgramPath()));
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  ASSERT_TRUE(GetVersionExW(&version));
  wchar_t line[128];
  wsprintfW(line,
            L"System version: MajorVersion=0x%x MinorVersion=0x%x "
            L"BuildNumber=0x%x PlatformId=0x2 SP=",
            version.dwMajorVersion, version.dwMinorVersion,
            version.dwBuildNumber);
  EXPECT_TRUE(log.Contains(4, line));
  EXPECT_TRUE(log.Contains(
      4, L"System info: OemId=0x9 ProcessorArchitecture=0x9 PageSize=0x1000 "))
      << "x64";
}

}  // namespace
}  // namespace vel
