#include "proptree/VelIniFile.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::ScratchDirectory;
using List = std::vector<std::wstring>;

std::wstring value_of(VelIniFile& ini, const wchar_t* section,
                      const wchar_t* key) {
  std::wstring value = L"old";
  ini.GetValue(section, key, value);
  return value;
}

List keys_of(VelIniFile& ini, const wchar_t* section) {
  List keys = {L"old"};
  ini.GetKeys(section, keys);
  return keys;
}

List names_of(VelIniFile& ini) {
  List names = {L"old"};
  ini.GetSectionNames(names);
  return names;
}

TEST(VelIniFile, TakesLinesAsTheyStand) {
  const ScratchDirectory scratch;
  VelIniFile ini(scratch.Write(L"f.ini",
                               "early=1\r\n[Main]\r\n\r\na=b=c\n"
                               "key = value \r;comment=1\r#comment=2\r\n"
                               "no divider\n[x]=1\n[\n=empty key\na2=\n"
                               "A=1\nA=2\n ;blank=3\nlast=line"));
  EXPECT_EQ(names_of(ini), List{L"Main"});
  EXPECT_EQ(keys_of(ini, L"Main"), (List{L"", L" ;blank", L"A", L"[x]", L"a",
                                         L"a2", L"key ", L"last"}));
  const struct {
    const wchar_t *key, *value;
  } rows[] = {
      {L"a", L"b=c"},     {L"key ", L" value "}, {L"key", L""},
      {L"[x]", L"1"},     {L"", L"empty key"},   {L"a2", L""},
      {L"A", L"2"},       {L"last", L"line"},    {L"early", L""},
      {L";comment", L""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(value_of(ini, L"Main", row.key), row.value)
        << testing::PrintToString(row.key);
  }
  EXPECT_EQ(value_of(ini, L"main", L"a"), L"");
  EXPECT_EQ(keys_of(ini, L"main"), List{});
}

TEST(VelIniFile, KeepsSectionsInFileOrder) {
  const ScratchDirectory scratch;
  VelIniFile ini(
      scratch.Write(L"f.ini", "[b]\nk=1\nonly=first\n[a]\n[]\nk=0\n[b]\nk=2"));
  EXPECT_EQ(names_of(ini), (List{L"b", L"a", L"", L"b"}));
  EXPECT_EQ(value_of(ini, L"b", L"k"), L"2");
  EXPECT_EQ(value_of(ini, L"b", L"only"), L"");
  EXPECT_EQ(value_of(ini, L"", L"k"), L"0");

  std::list<VelIniSectionPtr> sections;
  ini.GetSections(sections);
  ASSERT_EQ(sections.size(), 4u);
  EXPECT_EQ(sections.front()->GetValue(L"k", L""), L"1");
  EXPECT_TRUE(sections.front()->HasKey(L"only"));
  EXPECT_EQ(sections.back()->GetValue(L"only", L"default"), L"default");
}

TEST(VelIniFile, GivesCopiesOfSections) {
  const ScratchDirectory scratch;
  VelIniFile ini(scratch.Write(L"f.ini", "[a]\nk=1"));
  const VelIniSectionPtr section = ini.GetSection(L"a");
  EXPECT_EQ(section->Name(), L"a");
  EXPECT_EQ(section->GetValue(L"k", L""), L"1");
  EXPECT_NE(ini.GetSection(L"a"), section);
  EXPECT_EQ(ini.GetSection(L"no")->Name(), L"");
}

TEST(VelIniFile, ReadsTheFileAtItsFirstQueryAlone) {
  const ScratchDirectory scratch;
  const std::wstring path = scratch.File(L"f.ini");
  VelIniFile ini(path);
  scratch.Write(L"f.ini", "[a]\nk=1");
  EXPECT_EQ(value_of(ini, L"a", L"k"), L"1");
  scratch.Write(L"f.ini", "[a]\nk=2");
  EXPECT_EQ(value_of(ini, L"a", L"k"), L"1");

  VelIniFile missing(scratch.File(L"missing"));
  EXPECT_EQ(names_of(missing), List{});
  scratch.Write(L"missing", "[a]");
  EXPECT_EQ(names_of(missing), List{});
}

TEST(VelIniFile, ServesThreadsAtOnce) {
  const ScratchDirectory scratch;
  std::string text;
  for (int i = 0; i < 200; ++i) text += "[s" + std::to_string(i) + "]\nk=v\n";
  for (int round = 0; round < 20; ++round) {
    VelIniFile ini(scratch.Write(L"f.ini", text));
    std::atomic<int> good = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        if (names_of(ini).size() == 200 && value_of(ini, L"s199", L"k") == L"v")
          ++good;
      });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(good, 4);
  }
}

}  // namespace
}  // namespace vel
