#include "proptree/FileContents.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScratchDirectory;

const std::string kBytes("a\0\r\n\xff\x1a", 6);

TEST(FileContents, ReadsTheBytesAsTheyAre) {
  const ScratchDirectory scratch;
  const FileContents contents(scratch.Write(L"file", kBytes), true);
  EXPECT_EQ(contents.data(), kBytes);
  EXPECT_FALSE(contents.dirty());
}

TEST(FileContents, LeavesAMissingFileMissing) {
  const ScratchDirectory scratch;
  {
    FileContents contents(scratch.File(L"file"), true);
    EXPECT_EQ(contents.data(), "");
    EXPECT_FALSE(contents.dirty());
    EXPECT_TRUE(contents.Save());
    EXPECT_FALSE(contents.Load());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  }
  EXPECT_FALSE(FileExists(scratch.File(L"file")));
}

TEST(FileContents, WritesInItsDestructorWhatWasNotLoaded) {
  const ScratchDirectory scratch;
  const std::wstring path = scratch.Write(L"file", "old");
  { const FileContents truncates(path, false); }
  EXPECT_EQ(scratch.Read(L"file"), "");
  { const FileContents creates(scratch.File(L"new"), false); }
  EXPECT_TRUE(FileExists(scratch.File(L"new")));
}

TEST(FileContents, WritesOnlyChangedBytes) {
  const ScratchDirectory scratch;
  const std::wstring path = scratch.Write(L"file", "old");
  FileContents contents(path, true);
  scratch.Write(L"file", "of another program");
  EXPECT_TRUE(contents.Save());
  EXPECT_EQ(scratch.Read(L"file"), "of another program");
  contents.edit() = kBytes;
  EXPECT_TRUE(contents.dirty());
  EXPECT_TRUE(contents.Save());
  EXPECT_FALSE(contents.dirty());
  EXPECT_EQ(scratch.Read(L"file"), kBytes);
}

TEST(FileContents, StaysChangedWhenTheFileCannotBeOpened) {
  const ScratchDirectory scratch;
  FileContents contents(scratch.File(L"missing\\file"), false);
  contents.edit() = kBytes;
  EXPECT_FALSE(contents.Save());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_TRUE(contents.dirty());
  CreateDirectoryW(scratch.File(L"missing").c_str(), nullptr);
  EXPECT_TRUE(contents.Save());
}

TEST(FileContents, KeepsItsBytesWhenTheFileCannotBeReadAgain) {
  const ScratchDirectory scratch;
  const std::wstring path = scratch.Write(L"file", "old");
  FileContents contents(path, true);
  contents.edit() += "er";
  DeleteFileW(path.c_str());
  EXPECT_FALSE(contents.Load());
  EXPECT_EQ(contents.data(), "older");
  EXPECT_TRUE(contents.dirty());
}

}  // namespace
}  // namespace vel
