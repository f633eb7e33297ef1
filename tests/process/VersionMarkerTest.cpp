#include "process/VersionMarker.h"

#include <gtest/gtest.h>

#include "foundation/DirectoryTree.h"
#include "process/ProcessState.h"
#include "process/VersionState.h"
#include "support/ScratchDirectory.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScratchDirectory;

constexpr wchar_t kCurrent[] = L"1.2.3.4";
constexpr std::uint64_t kMarkerTime = 0x01D0'0000'0000'0000;

FILETIME ToFileTime(std::uint64_t time) {
  return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

void SetTimes(const std::wstring& path, std::uint64_t created,
              std::uint64_t written) {
  const ScopedFileHandle file(CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          nullptr, OPEN_EXISTING, 0, nullptr));
  const FILETIME creation = ToFileTime(created);
  const FILETIME write = ToFileTime(written);
  ASSERT_TRUE(SetFileTime(file.get(), &creation, nullptr, &write));
}

WIN32_FIND_DATAW Entry(std::uint64_t created, std::uint64_t written,
                       DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  WIN32_FIND_DATAW entry = {};
  entry.dwFileAttributes = attributes;
  entry.ftCreationTime = ToFileTime(created);
  entry.ftLastWriteTime = ToFileTime(written);
  return entry;
}

class VersionMarkerTest : public testing::Test {
 protected:
  std::wstring WriteMarker(const std::string& version) {
    const std::wstring path = _scratch.Write(L".version", version);
    SetTimes(path, kMarkerTime, kMarkerTime);
    return path;
  }

  ScratchDirectory _scratch;
};

TEST_F(VersionMarkerTest, ComparesTheFileWithTheRunningVersion) {
  EXPECT_TRUE(VersionMarker(kCurrent, _scratch.File(L"none")).changed());
  EXPECT_TRUE(VersionMarker(kCurrent, WriteMarker("1.2.3.3")).changed());
  EXPECT_TRUE(VersionMarker(kCurrent, WriteMarker("1.2.3.4\n")).changed());
  EXPECT_FALSE(VersionMarker(kCurrent, WriteMarker("1.2.3.4")).changed());
}

TEST_F(VersionMarkerTest, WithTheSameVersionWhatIsNewerThanTheMarkerGoes) {
  VersionMarker marker(kCurrent, WriteMarker("1.2.3.4"));
  const struct {
    WIN32_FIND_DATAW entry;
    bool deleted;
  } cases[] = {
      {Entry(kMarkerTime, kMarkerTime), false},
      {Entry(kMarkerTime - 1, kMarkerTime - 1), false},
      {Entry(kMarkerTime + 1, kMarkerTime - 1), true},
      {Entry(kMarkerTime - 1, kMarkerTime + 1), true},
      // The high halves differ, and the low ones the other way round.
      {Entry(kMarkerTime - 1, kMarkerTime + (1ull << 32)), true},
      {Entry(0, 0, FILE_ATTRIBUTE_DIRECTORY), true},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(marker.should_delete(row.entry), row.deleted);
  }
  EXPECT_FALSE(marker.should_remove_root());
}

TEST_F(VersionMarkerTest, WithAnotherVersionAllGoes) {
  VersionMarker marker(kCurrent, WriteMarker("1.2"));
  EXPECT_TRUE(marker.should_delete(Entry(0, 0)));
  EXPECT_FALSE(marker.should_remove_root());
}

TEST_F(VersionMarkerTest, SweepKeepsWhatTheLastRunLeft) {
  const std::wstring path = WriteMarker("1.2.3.4");
  SetTimes(_scratch.Write(L"old", "x"), kMarkerTime, kMarkerTime);
  SetTimes(_scratch.Write(L"sub\\old", "x"), kMarkerTime, kMarkerTime);
  _scratch.Write(L"new", "x");
  _scratch.Write(L"gone\\new", "x");
  VersionMarker marker(kCurrent, path);
  delete_tree(_scratch.path(), marker);
  EXPECT_TRUE(FileExists(path));
  EXPECT_TRUE(FileExists(_scratch.File(L"old")));
  EXPECT_TRUE(FileExists(_scratch.File(L"sub\\old")));
  EXPECT_FALSE(FileExists(_scratch.File(L"new")));
  EXPECT_FALSE(FileExists(_scratch.File(L"gone")));
}

TEST_F(VersionMarkerTest, CommitWritesTheVersionAndItsDirectory) {
  const std::wstring path = _scratch.File(L"a\\b\\.version");
  VersionMarker marker(kCurrent, path);
  EXPECT_TRUE(marker.Commit());
  EXPECT_EQ(_scratch.Read(L"a\\b\\.version"), "1.2.3.4");
  EXPECT_FALSE(marker.changed());
  EXPECT_FALSE(VersionMarker(kCurrent, path).changed());
}

TEST_F(VersionMarkerTest, CommitTellsOfAFileThatCannotBeWritten) {
  _scratch.Write(L"file", "");
  VersionMarker marker(kCurrent, _scratch.File(L"file\\.version"));
  EXPECT_FALSE(marker.Commit());
  EXPECT_TRUE(marker.changed());
}

TEST_F(VersionMarkerTest, CommitBeforeTheStartDoesNothing) {
  ASSERT_EQ(version_marker, nullptr);
  commit_version();
}

}  // namespace
}  // namespace vel
