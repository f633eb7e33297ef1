#include "foundation/DirectoryTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "foundation/PathParts.h"
#include "foundation/ReadFile.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::FileExists;
using test::ScratchDirectory;
using List = std::vector<std::wstring>;

bool is_dots(const WIN32_FIND_DATAW& entry) {
  const std::wstring name = entry.cFileName;
  return name == L"." || name == L"..";
}

// Accepts all names but those that begin with "keep", and dots on request.
class NameFilter : public DeleteFilter {
 public:
  NameFilter(bool take_dots, bool remove_root)
      : _take_dots(take_dots), _remove_root(remove_root) {}
  bool should_delete(const WIN32_FIND_DATAW& entry) override {
    if (is_dots(entry)) return _take_dots;
    return std::wstring(entry.cFileName).rfind(L"keep", 0) != 0;
  }
  bool should_remove_root() override { return _remove_root; }

 private:
  const bool _take_dots, _remove_root;
};

class RefuseAll : public DeleteFilter {
 public:
  bool should_delete(const WIN32_FIND_DATAW&) override { return false; }
  bool should_remove_root() override { return false; }
};

class Recorder : public DirectoryVisitor {
 public:
  explicit Recorder(std::wstring last = L"") : _last(std::move(last)) {}
  bool visit(const std::wstring& directory,
             const WIN32_FIND_DATAW& entry) override {
    seen.push_back(directory + L"\\" + entry.cFileName);
    return _last != entry.cFileName;
  }
  List seen;

 private:
  const std::wstring _last;
};

class DirectoryTreeTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const wchar_t* name :
         {L"a.exe", L"b.EXE", L"c.exe.bak", L"sub.exe\\deep\\d.exe"}) {
      _scratch.Write(name, "x");
    }
  }
  List in_order(List list) {
    std::sort(list.begin(), list.end());
    return list;
  }
  List files(std::initializer_list<const wchar_t*> names) {
    List list;
    for (const wchar_t* name : names) list.push_back(_scratch.File(name));
    return in_order(list);
  }
  void make_read_only(const wchar_t* name) {
    SetFileAttributesW(_scratch.File(name).c_str(), FILE_ATTRIBUTE_READONLY);
  }
  bool is_read_only(const wchar_t* name) {
    return (GetFileAttributesW(_scratch.File(name).c_str()) &
            FILE_ATTRIBUTE_READONLY) != 0;
  }

  const ScratchDirectory _scratch;
};

TEST_F(DirectoryTreeTest, ListsEverything) {
  const List all = files({L"a.exe", L"b.EXE", L"c.exe.bak", L"sub.exe",
                          L"sub.exe\\deep", L"sub.exe\\deep\\d.exe"});
  List list;
  list_files(_scratch.path(), list);
  EXPECT_EQ(in_order(list), all);
  List with_slash_at_end;
  list_files(_scratch.path() + L"\\", with_slash_at_end);
  EXPECT_EQ(in_order(with_slash_at_end), all);
  List none;
  list_files(_scratch.File(L"missing"), none);
  EXPECT_EQ(none, List{});
}

TEST_F(DirectoryTreeTest, ListsFilesOfOneExtension) {
  List list;
  list_files(_scratch.path(), list, L".exe");
  EXPECT_EQ(in_order(list),
            files({L"a.exe", L"b.EXE", L"sub.exe\\deep\\d.exe"}));
}

TEST_F(DirectoryTreeTest, WalksUntilToldToStop) {
  Recorder everything;
  EXPECT_TRUE(walk_directory(_scratch.path(), everything));
  EXPECT_EQ(in_order(everything.seen),
            files({L"a.exe", L"b.EXE", L"c.exe.bak", L"sub.exe",
                   L"sub.exe\\deep", L"sub.exe\\deep\\d.exe"}));
  Recorder until(L"d.exe");
  EXPECT_FALSE(walk_directory(_scratch.path(), until));
  EXPECT_EQ(until.seen.back(), _scratch.File(L"sub.exe\\deep\\d.exe"));
  Recorder missing;
  EXPECT_TRUE(walk_directory(_scratch.File(L"missing"), missing));
}

TEST_F(DirectoryTreeTest, DeletesWhatTheFilterAccepts) {
  _scratch.Write(L"sub.exe\\keep.txt", "x");
  _scratch.Write(L"gone\\x\\y", "x");
  make_read_only(L"a.exe");
  NameFilter filter(false, false);
  // sub.exe can't go, since it isn't empty.
  EXPECT_FALSE(delete_tree(_scratch.path(), filter));
  List left;
  list_files(_scratch.path(), left);
  EXPECT_EQ(in_order(left), files({L"sub.exe", L"sub.exe\\keep.txt"}));
  EXPECT_TRUE(delete_tree(_scratch.File(L"sub.exe"), filter));
  EXPECT_TRUE(FileExists(_scratch.File(L"sub.exe\\keep.txt")));
}

TEST_F(DirectoryTreeTest, RemovesTheRootOnRequest) {
  _scratch.Write(L"root\\file", "x");
  NameFilter filter(false, true);
  EXPECT_TRUE(delete_tree(_scratch.File(L"root"), filter));
  EXPECT_FALSE(FileExists(_scratch.File(L"root")));
}

TEST_F(DirectoryTreeTest, FailsOnDotsThatTheFilterAccepts) {
  _scratch.Write(L"root\\file", "x");
  NameFilter filter(true, false);
  EXPECT_FALSE(delete_tree(_scratch.File(L"root"), filter));
  EXPECT_FALSE(FileExists(_scratch.File(L"root\\file")));
}

TEST_F(DirectoryTreeTest, ResetsAttributesOfWhatStays) {
  make_read_only(L"a.exe");
  make_read_only(L"sub.exe\\deep\\d.exe");
  RefuseAll filter;
  EXPECT_TRUE(delete_tree(_scratch.path(), filter));
  EXPECT_TRUE(FileExists(_scratch.File(L"a.exe")));
  EXPECT_FALSE(is_read_only(L"a.exe"));
  EXPECT_TRUE(is_read_only(L"sub.exe\\deep\\d.exe"));
  // The scratch directory can't remove it otherwise.
  SetFileAttributesW(_scratch.File(L"sub.exe\\deep\\d.exe").c_str(),
                     FILE_ATTRIBUTE_NORMAL);
}

TEST_F(DirectoryTreeTest, LeavesTheTargetOfALinkAlone) {
  const std::wstring link = _scratch.File(L"root\\link");
  make_directories(link);
  constexpr DWORD kUnprivileged = 2;
  if (!CreateSymbolicLinkW(link.c_str(), _scratch.File(L"sub.exe").c_str(),
                           SYMBOLIC_LINK_FLAG_DIRECTORY | kUnprivileged) ||
      (GetFileAttributesW(link.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    GTEST_SKIP() << "no symbolic links here: " << GetLastError();
  }
  NameFilter filter(false, false);
  EXPECT_TRUE(delete_tree(_scratch.File(L"root"), filter));
  EXPECT_FALSE(FileExists(link));
  EXPECT_TRUE(FileExists(_scratch.File(L"sub.exe\\deep\\d.exe")));
}

std::string failure_of(const std::wstring& path) {
  try {
    readFile(path);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(ReadFile, ReadsWholeFiles) {
  const ScratchDirectory scratch;
  const std::string bytes("a\0\r\n\xff", 5);
  const std::vector<BYTE> expected(bytes.begin(), bytes.end());
  EXPECT_EQ(readFile(scratch.Write(L"file", bytes)), expected);
  EXPECT_EQ(readFile(scratch.Write(L"empty", "")), std::vector<BYTE>{});
}

TEST(ReadFile, ThrowsWithThePathAndTheError) {
  EXPECT_EQ(failure_of(L"C:\\no such file"),
            "readFile: CreateFile(C:\\no such file) failed, error=2");
}

TEST(TempDirectory, MakesANewDirectoryEachTime) {
  const TempDirectory first, second;
  EXPECT_NE(first.path(), second.path());
  for (const TempDirectory* directory : {&first, &second}) {
    EXPECT_TRUE(FileExists(directory->path()));
    EXPECT_TRUE(RemoveDirectoryW(directory->path().c_str()));
  }
}

}  // namespace
}  // namespace vel
