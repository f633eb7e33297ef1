#include "foundation/LongPath.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "foundation/PathParts.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::ScratchDirectory;

std::wstring numbered(std::size_t number) {
  return L"p" + std::wstring(number, L'x');
}

TEST(LongPathCache, ForgetsSixtySecondsAfterTheLastUse) {
  LongPathCache cache;
  cache.enter(L"a", L"long", 1000);
  EXPECT_EQ(cache.find(L"a", 60999), L"long");
  // The use has begun the time anew.
  EXPECT_EQ(cache.find(L"a", 120998), L"long");
  EXPECT_EQ(cache.find(L"a", 180998), std::nullopt);
  EXPECT_EQ(cache.size(), 0u);
  EXPECT_EQ(cache.find(L"b", 1000), std::nullopt);
}

TEST(LongPathCache, TakesNothingNewWhileFull) {
  LongPathCache cache;
  for (std::size_t i = 0; i < LongPathCache::kLimit; ++i) {
    cache.enter(numbered(i), L"long", 10000);
  }
  cache.enter(L"new", L"long", 10001);
  EXPECT_EQ(cache.find(L"new", 10001), std::nullopt);
  EXPECT_EQ(cache.size(), LongPathCache::kLimit);
}

TEST(LongPathCache, PrunesAtMostEveryFiveSeconds) {
  LongPathCache cache;
  for (std::size_t i = 0; i < LongPathCache::kLimit; ++i) {
    cache.enter(numbered(i), L"long", i == 0 ? 12000 : 10000);
  }
  cache.enter(L"new", L"long", 69000);  // Prunes, but nothing is dead.
  EXPECT_EQ(cache.size(), LongPathCache::kLimit);
  cache.enter(L"new", L"long", 73999);  // Too soon.
  EXPECT_EQ(cache.size(), LongPathCache::kLimit);
  cache.enter(L"new", L"long", 74000);
  EXPECT_EQ(cache.size(), 0u);
  cache.enter(L"new", L"long", 74000);
  EXPECT_EQ(cache.find(L"new", 74000), L"long");
}

TEST(LongPath, LengthensTheComponentsThatExist) {
  const ScratchDirectory scratch;
  scratch.Write(L"A longer name\\Another long name.text", "x");
  const std::wstring full =
      scratch.File(L"A longer name\\Another long name.text");
  const std::wstring shortened = short_path(full);
  if (file_name_of(shortened).find(L'~') == std::wstring::npos) {
    GTEST_SKIP() << "the volume has no 8.3 names";
  }
  const std::wstring expected =
      long_path(scratch.path()) + L"\\A longer name\\Another long name.text";
  EXPECT_EQ(long_path(shortened), expected);
  EXPECT_EQ(long_path(shortened), expected);
  EXPECT_EQ(long_path(L"\\??\\" + shortened), L"\\??\\" + expected);
  EXPECT_EQ(long_path(directory_of(shortened)), directory_of(expected));
}

TEST(LongPath, LeavesOtherPathsAlone) {
  for (const wchar_t* path :
       {L"", L"C:", L"C:\\", L"C:\\a\\b", L"name~1", L"C:\\no~1\\x",
        L"C:\\a*~1", L"\\??\\", L"\\??\\C:\\x", L"\\\\srv\\share\\a"}) {
    SetLastError(1234);
    EXPECT_EQ(long_path(path), path);
    EXPECT_EQ(GetLastError(), 1234u);
  }
  EXPECT_EQ(short_path(L"C:\\no such\\file name"), L"C:\\no such\\file name");
  EXPECT_EQ(short_path(L""), L"");
}

// What couldn't be found is looked for again.
TEST(LongPath, DoesNotRememberAFailedSearch) {
  const ScratchDirectory scratch;
  const std::wstring path = scratch.File(L"NAME~1.TXT");
  EXPECT_EQ(file_name_of(long_path(path)), L"NAME~1.TXT");
  scratch.Write(L"name~1.txt", "x");
  EXPECT_EQ(file_name_of(long_path(path)), L"name~1.txt");
}

}  // namespace
}  // namespace vel
