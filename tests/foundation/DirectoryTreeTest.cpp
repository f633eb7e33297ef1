#include "foundation/DirectoryTree.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/PathParts.h"
#include "foundation/ReadFile.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::FileExists;
using List = std::vector<std::wstring>;

// Accepts all names but dots and those that begin with `keep`.
struct NameFilter : DeleteFilter {
  bool should_delete(const WIN32_FIND_DATAW& entry) override {
    const std::wstring name = entry.cFileName;
    return name != L"." && name != L".." && !name.starts_with(keep);
  }
  bool should_remove_root() override { return remove_root; }
  const wchar_t* keep = L"keep";
  bool remove_root = false;
};

struct StopsAtD : DirectoryVisitor {
  bool visit(const std::wstring& directory,
             const WIN32_FIND_DATAW& entry) override {
    last = directory + L"\\" + entry.cFileName;
    return std::wstring(L"d.exe") != entry.cFileName;
  }
  std::wstring last;
};

class DirectoryTreeTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const wchar_t* name :
         {L"a.exe", L"b.EXE", L"c.exe.bak", L"sub.exe\\deep\\d.exe"}) {
      _scratch.Write(name, "x");
    }
  }
  // What is in the directory, by its names.
  List listed(const std::wstring& extension = L"") {
    List list;
    list_files(_scratch.path() + L"\\", list, extension);
    for (std::wstring& path : list) path.erase(0, _scratch.path().size() + 1);
    std::sort(list.begin(), list.end());
    return list;
  }
  const test::ScratchDirectory _scratch;
};

TEST_F(DirectoryTreeTest, ListsAndWalks) {
  EXPECT_EQ(listed(), (List{L"a.exe", L"b.EXE", L"c.exe.bak", L"sub.exe",
                            L"sub.exe\\deep", L"sub.exe\\deep\\d.exe"}));
  EXPECT_EQ(listed(L".exe"),
            (List{L"a.exe", L"b.EXE", L"sub.exe\\deep\\d.exe"}));
  StopsAtD visitor;
  EXPECT_FALSE(walk_directory(_scratch.path(), visitor));
  EXPECT_EQ(visitor.last, _scratch.File(L"sub.exe\\deep\\d.exe"));
}

TEST_F(DirectoryTreeTest, DeletesWhatTheFilterAccepts) {
  _scratch.Write(L"sub.exe\\keep.txt", "x");
  _scratch.Write(L"gone\\x\\y", "x");
  const std::wstring file = _scratch.File(L"a.exe");
  SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  NameFilter filter;
  filter.keep = L"";
  EXPECT_TRUE(delete_tree(_scratch.path(), filter));
  EXPECT_EQ(GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
  SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  filter.keep = L"keep";
  // sub.exe can't go, since it isn't empty.
  EXPECT_FALSE(delete_tree(_scratch.path(), filter));
  EXPECT_EQ(listed(), (List{L"sub.exe", L"sub.exe\\keep.txt"}));
  EXPECT_TRUE(delete_tree(_scratch.File(L"sub.exe"), filter));

  const std::wstring root = _scratch.File(L"root");
  _scratch.Write(L"root\\file", "x");
  filter.remove_root = true;
  EXPECT_TRUE(delete_tree(root, filter));
  EXPECT_FALSE(FileExists(root));
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
  NameFilter filter;
  EXPECT_TRUE(delete_tree(_scratch.File(L"root"), filter));
  EXPECT_FALSE(FileExists(link));
  EXPECT_TRUE(FileExists(_scratch.File(L"sub.exe\\deep\\d.exe")));
}

}  // namespace
}  // namespace vel
