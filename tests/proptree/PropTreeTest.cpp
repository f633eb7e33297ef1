// What is kept in files: bytes, INI texts and the store of downloads.
#include <gtest/gtest.h>

#include "proptree/DwlSources.h"
#include "proptree/FileContents.h"
#include "proptree/VelIniFile.h"
#include "support/ChildProcess.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using List = std::vector<std::wstring>;
const std::string kBytes("a\0\r\n\xff\x1a", 6);

TEST(FileContents, WritesOnlyChangedBytesAndAllOfThem) {
  const test::ScratchDirectory scratch;
  const std::wstring path = scratch.Write(L"file", "old");
  FileContents contents(path, true);
  scratch.Write(L"file", "of another program");
  EXPECT_TRUE(contents.Save());
  EXPECT_EQ(scratch.Read(L"file"), "of another program");
  contents.edit() = kBytes;
  EXPECT_TRUE(contents.Save());
  EXPECT_EQ(FileContents(path, true).data(), kBytes);
  { const FileContents not_loaded_counts_as_changed(path, false); }
  EXPECT_EQ(scratch.Read(L"file"), "");
}

std::wstring value_of(VelIniFile& ini, const wchar_t* section,
                      const std::wstring& key) {
  std::wstring value = L"old";
  ini.GetValue(section, key, value);
  return value;
}

TEST(VelIniFile, TakesLinesAndSectionsAsTheyStand) {
  const test::ScratchDirectory scratch;
  VelIniFile ini(scratch.Write(
      L"f.ini",
      "early=1\r\n[Main]\r\n\r\na=b=c\nkey = value \r;comment=1\r#comment=2\r\n"
      "no divider\n[x]=1\n[\n=empty key\na2=\nA=1\nA=2\n ;blank=3\n"
      "[b]\nk=1\nonly=first\n[]\nk=0\n[b]\nk=2"));
  List keys, values, names;
  ini.GetKeys(L"Main", keys);
  for (const std::wstring& key : keys) {
    values.push_back(value_of(ini, L"Main", key));
  }
  EXPECT_EQ(keys, (List{L"", L" ;blank", L"A", L"[x]", L"a", L"a2", L"key "}));
  EXPECT_EQ(values,
            (List{L"empty key", L"3", L"2", L"1", L"b=c", L"", L" value "}));
  EXPECT_EQ(value_of(ini, L"main", L"a"), L"");
  ini.GetSectionNames(names);
  EXPECT_EQ(names, (List{L"Main", L"b", L"", L"b"}));
  EXPECT_EQ(value_of(ini, L"b", L"k"), L"2");
  EXPECT_EQ(value_of(ini, L"b", L"only"), L"") << "the last of a name answers";
  EXPECT_EQ(ini.GetSection(L"no")->GetValue(L"k", L"default"), L"default");
}

VEL_CHILD_MAIN(StoreLiesAt) {
  return DownloadedFilesPath() == argument ? 0 : 1;
}

VEL_CHILD_MAIN(DeletesTheStore) {
  DeleteDownloadSources();
  return 0;
}

// The user's profile is read once per process, so each case has its own.
TEST(DwlSources, LiesInTheProfileOrIsCopiedThereOnce) {
  const std::wstring old_place = L"program\\DownloadedFiles.ptp";
  const std::wstring new_place = L"data\\Tessavane\\VEL\\DownloadedFiles.ptp";
  const test::ScratchDirectory scratch;
  const test::ScopedVariable product(L"VELDIR", scratch.File(L"program"));
  const test::ScopedVariable data(L"APPDATA", scratch.File(L"data"));
  const auto lies_at = [&](const std::wstring& place) {
    return test::ChildProcess(L"StoreLiesAt", scratch.File(place)).Wait() == 0u;
  };
  scratch.Write(old_place, "first");
  std::wstring upper = scratch.path();
  CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
  const test::ScopedVariable profile(L"USERPROFILE", upper);
  EXPECT_TRUE(lies_at(old_place));
  EXPECT_FALSE(test::FileExists(scratch.File(new_place)));
  profile.Set(L"C:\\somebody");
  EXPECT_TRUE(lies_at(new_place));
  scratch.Write(old_place, "second");
  EXPECT_TRUE(lies_at(new_place));
  EXPECT_EQ(scratch.Read(new_place), "first");
  EXPECT_EQ(test::ChildProcess(L"DeletesTheStore").Wait(), 0u);
  EXPECT_FALSE(test::FileExists(scratch.File(new_place)));
  EXPECT_EQ(scratch.Read(old_place), "second");
}

}  // namespace
}  // namespace vel
