#include "process/VersionMarker.h"

#include <gtest/gtest.h>

#include "support/ScratchDirectory.h"

namespace vel {
namespace {

constexpr wchar_t kCurrent[] = L"1.2.3.4";

FILETIME Later(FILETIME time, std::int64_t by) {
  ULARGE_INTEGER sum = {{time.dwLowDateTime, time.dwHighDateTime}};
  sum.QuadPart += static_cast<std::uint64_t>(by);
  return {sum.LowPart, sum.HighPart};
}

TEST(VersionMarkerTest, WithAnotherVersionAllGoesButTheDirectoryItself) {
  const test::ScratchDirectory scratch;
  EXPECT_TRUE(VersionMarker(kCurrent, scratch.File(L"none")).changed());
  for (const char* const other : {"", "1.2.3", "1.2.3.4\n"}) {
    VersionMarker marker(kCurrent, scratch.Write(L".version", other));
    EXPECT_TRUE(marker.changed()) << other;
    EXPECT_TRUE(marker.should_delete({}));
    EXPECT_FALSE(marker.should_remove_root());
  }
}

TEST(VersionMarkerTest, WithTheSameVersionWhatIsNewerThanTheMarkerGoes) {
  constexpr struct {
    std::int64_t created, written;  // after the marker
    DWORD attributes;
    bool deleted;
  } kCases[] = {
      {0, 0, 0, false},
      {1, -1, 0, true},
      {-1, 1, 0, true},
      // The high halves differ, and the low ones the other way round.
      {0, (1ll << 32) - 1, 0, true},
      {-1, -1, FILE_ATTRIBUTE_DIRECTORY, true},
  };
  const test::ScratchDirectory scratch;
  const std::wstring path = scratch.Write(L".version", "1.2.3.4");
  WIN32_FIND_DATAW entry;
  FindClose(FindFirstFileW(path.c_str(), &entry));
  const FILETIME marked = entry.ftLastWriteTime;
  VersionMarker marker(kCurrent, path);
  EXPECT_FALSE(marker.changed());
  for (const auto& row : kCases) {
    entry.ftCreationTime = Later(marked, row.created);
    entry.ftLastWriteTime = Later(marked, row.written);
    entry.dwFileAttributes = row.attributes;
    EXPECT_EQ(marker.should_delete(entry), row.deleted);
  }
}

TEST(VersionMarkerTest, CommitWritesTheVersionOrTellsThatItCannot) {
  const test::ScratchDirectory scratch;
  const std::wstring path = scratch.File(L"a\\b\\.version");
  VersionMarker marker(kCurrent, path);
  EXPECT_TRUE(marker.Commit());
  EXPECT_FALSE(VersionMarker(kCurrent, path).changed());
  VersionMarker below_a_file(kCurrent, path + L"\\.version");
  EXPECT_FALSE(below_a_file.Commit());
  EXPECT_TRUE(below_a_file.changed());
}

}  // namespace
}  // namespace vel
