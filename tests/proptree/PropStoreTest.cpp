// Property trees in memory, in their packed form and in files.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <tuple>

#include "proptree/DwlSources.h"
#include "proptree/FileContents.h"
#include "proptree/VelFileStream.h"
#include "proptree/VelPropPacker.h"
#include "proptree/VelPropTreeStore.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Soak.h"
#include "support/Thrown.h"
#include "support/Wait.h"

namespace vel {
namespace {

using namespace std::string_literals;
using test::LogCapture;
using Texts = std::vector<std::wstring>;

void Fill(VelPropNode& node, const std::wstring& names) {
  for (const wchar_t name : names) node.AddChild(std::wstring(1, name));
}
// The names of the children, one letter each.
std::wstring Names(const VelPropNode& node) {
  std::wstring names;
  for (std::size_t i = 0; i < node.ChildCount(); ++i) {
    names += node.ChildAt(i)->Name();
  }
  return names;
}

class PropStoreTest : public testing::Test {
 protected:
  std::string Save(VelPropNode& tree) {
    EXPECT_TRUE(VelPropTreeStore(&tree).StorePlain(_path));
    return _scratch.Read(L"tree.ptp");
  }
  bool Load(const std::string& bytes, VelPropNode& tree) {
    _scratch.Write(L"tree.ptp", bytes);
    return VelPropTreeStore(&tree).LoadPlain(_path);
  }
  const test::ScratchDirectory _scratch;
  const std::wstring _path = _scratch.File(L"tree.ptp");
  // What comes ahead of the table.
  const std::string _head = "\x9\0\0\0<VELPROP:"s + std::string(32, '\0');
};

TEST(VelPropNode, AttributesAreNumbersOrTexts) {
  VelPropNode node;
  const std::tuple<const wchar_t*, bool, std::int64_t> rows[] = {
      {L"42", true, 42},   {L"0", true, 0},
      {L"042", false, 42}, {L"-42", false, -42},
      {L"", false, 0},     {L"12abc", false, 12},
      {L"abc", false, 0},  {L"9223372036854775807", true, INT64_MAX}};
  for (const auto& [text, is_number, expected] : rows) {
    node.SetText(L"a", text, true);
    EXPECT_EQ(node.FindAttribute(L"a")->Text() == nullptr, is_number);
    std::int64_t number = 7;
    EXPECT_TRUE(node.GetNumber(L"a", number) && number == expected) << text;
  }
  EXPECT_FALSE(node.SetNumberFromText(L"a", L"9223372036854775808"));
  node.SetNumber(L"n", -5);
  VelPropValue copy = *node.FindAttribute(L"n");
  std::wstring text;
  EXPECT_TRUE(node.GetText(L"n", text));
  EXPECT_EQ(text, L"-5");
  // It counts as a text from then on; the copy doesn't.
  EXPECT_NE(node.FindAttribute(L"n")->Text(), nullptr);
  EXPECT_EQ(copy.Text(), nullptr);
  std::int32_t small = 0;
  node.SetNumber(L"n", 0x1'0000'0003);
  EXPECT_TRUE(node.GetNumber32(L"n", small) && small == 3);
  EXPECT_FALSE(node.GetText(L"N", text) || node.HasAttribute(L"N"));
  EXPECT_TRUE(node.NumberEquals(L"N", 0) && node.TextEquals(L"N", L""));
  node.SetText(L"t", L"ABC");
  EXPECT_TRUE(node.TextEquals(L"t", L"abc"));
  EXPECT_TRUE(node.RemoveAttribute(L"t") && !node.RemoveAttribute(L"t"));
}

TEST(VelPropNode, FindsAndRemovesChildren) {
  const struct {
    const wchar_t *before, *pattern;
    bool all;
    const wchar_t* after;
  } rows[] = {{L"aaba", L"a", true, L"ab"},
              {L"aaba", L"A", false, L"aba"},
              {L"abc", nullptr, true, L"b"},
              {L"abc", L"x*", true, L"abc"}};
  for (const auto& row : rows) {
    VelPropNode node;
    Fill(node, row.before);
    EXPECT_EQ(node.RemoveChildren(row.pattern, row.all),
              std::wcscmp(row.before, row.after) != 0);
    EXPECT_EQ(Names(node), row.after);
  }
  VelPropNode node;
  Fill(node, L"aBb");
  node.ChildAt(2)->SetText(L"x", L"One");
  EXPECT_EQ(node.FindChild(L"b"), node.ChildAt(1));
  EXPECT_EQ(node.FindChild(L"?"), nullptr);
  EXPECT_EQ(node.FindChildByAttribute(L"*", L"x", L"ONE"), node.ChildAt(2));
  EXPECT_EQ(node.FindChildByAttribute(L"b", L"x", L""), node.ChildAt(1));
  std::vector<VelPropNode::Child> found;
  EXPECT_TRUE(node.FindChildren(L"b", found));
  EXPECT_EQ(found.size(), 2u);
  node.EraseChild(0);
  EXPECT_EQ(Names(node), L"Bb");
}

// A number of four bytes, and a text behind its length.
std::string Packed(std::uint32_t number) {
  return {reinterpret_cast<const char*>(&number), sizeof number};
}
std::string Packed(const std::string& text) {
  return Packed(static_cast<std::uint32_t>(text.size())) + text;
}

TEST_F(PropStoreTest, WritesTheFormatsExampleAndEachForm) {
  VelPropNode tree;
  const auto node = tree.AddChild(L"root")->AddChild(L"node");
  node->SetText(L"path", L"C:\\a");
  node->SetText(L"source", L"b");
  node->SetNumber(L"ts", 128);
  const std::string bytes = Save(tree);
  SYSTEMTIME saved, now;
  std::memcpy(&saved, &bytes[13], sizeof saved);
  GetSystemTime(&now);
  EXPECT_EQ(saved.wYear, now.wYear);
  EXPECT_EQ(bytes.substr(29, 16), std::string(16, '\0'));
  EXPECT_EQ(bytes.substr(0, 13) + bytes.substr(45),
            Packed("<VELPROP:") + "\0\0\xF2"s + Packed("") + "\xFE\xF2" +
                Packed("root") + "\xFE\xF2" + Packed("node") + "\x22" +
                Packed("path") + Packed("C:\\a") + "\x22" + Packed("source") +
                Packed("b") + "\x52" + Packed("ts") +
                "\x80\0\0\0\0\0\0\0\xFE\xFF\xFF\xFF"s + Packed(":VELPROP>"));

  VelPropNode each;
  const auto child = each.AddChild(L"twice");
  child->SetText(L"", L"twice");
  child->SetNumber(L"a", -1);
  child->SetNumber(L"b", 127);
  child->SetText(L"z", L"\xE4");
  child->SetNumber(L"\xE4", 0);
  child->AddChild(L"z");
  const std::string forms = Save(each);
  const std::string wide = Packed(1) + "\xE4\0"s;
  EXPECT_EQ(forms.substr(45),
            "\3\0"s + Packed("") + Packed("twice") + Packed("z") +
                "\xF3\0\0\xFE\xF3\1\0\x30\1\0\x52"s + Packed("a") +
                std::string(8, '\xFF') + "\x42" + Packed("b") +
                "\x7F\x13\2\0"s + wide + "\x41" + wide +
                "\0\xFE\xF3\2\0\xFE\xFF\xFF\xFF"s + Packed(":VELPROP>"));
  VelPropNode read;
  EXPECT_TRUE(Load(forms + "and more", read));
  EXPECT_EQ(Save(read).substr(45), forms.substr(45));
  // What is there already stays; children are appended.
  read.ChildAt(0)->SetText(L"z", L"own");
  EXPECT_TRUE(Load(forms, read));
  EXPECT_EQ(Names(read), L"twicetwice");
  EXPECT_TRUE(read.ChildAt(0)->TextEquals(L"z", L"own"));
  // A name that isn't ASCII can be written, but not read.
  child->Name() = L"\xE4";
  const LogCapture log;
  EXPECT_FALSE(Load(Save(each), read));
  EXPECT_TRUE(log.Contains(3, L"VelPropTreeStore::LoadPlain('" + _path +
                                  L"'): LoadNode: invalid node tag"));
}

// A file in memory.
class ImageStream final : public VelStream {
 public:
  explicit ImageStream(std::string bytes) : _bytes(std::move(bytes)) {}
  bool Write(const void*, std::size_t) override { return false; }
  bool Read(void* buffer, std::size_t size) override {
    const std::size_t count =
        _bytes.copy(static_cast<char*>(buffer), size, _at);
    _at += count;
    return count == size;
  }
  bool IsOpen() const override { return true; }
  bool CanWrite() const override { return false; }

 private:
  const std::string _bytes;
  std::size_t _at = 0;
};

// Empty, or what is wrong with the file.
std::string Unpack(const std::string& bytes) {
  VelPropNode tree;
  ImageStream stream(bytes);
  return test::Thrown([&] { VelPropPacker(&tree).Load(VelStreamIo(&stream)); });
}

TEST_F(PropStoreTest, FailsClearlyOnDamagedFiles) {
  VelPropNode tree;
  tree.AddChild(L"same")->SetText(L"same", L"x");
  tree.AddChild(L"n")->SetText(L"n", L"\x100");
  const std::string bytes = Save(tree);
  const char lead_in[] = "Lead-in failed", lead_out[] = "Lead-out failed";
  const char tag[] = "LoadNode: invalid node tag";
  const char value[] = "LoadNode: invalid attribute value tag";
  const std::string long_text = "\xFF\xFF\xFF\xFF";
  const std::string without_end = bytes.substr(0, bytes.size() - 13);
  const std::pair<std::string, std::string> rows[] = {
      {bytes, ""},
      {"", lead_in},
      {long_text + "<VELPROP:", lead_in},
      {bytes.substr(0, 44), "Encode ID failed"},
      {_head + "\xFF\xFF" + long_text, tag},
      {_head + "\1\0"s + long_text, tag},
      {_head + "\0\0\xF2"s + long_text, value},
      {_head + "\0\0\xF3\1\0"s, "StringFromTable: invalid node table index"},
      {_head + "\0\0\xF2\0\0\0\0\x24"s, "LoadNode: invalid attribute name tag"},
      {_head + "\0\0\xF2\0\0\0\0\x60"s, value},
      {without_end, lead_out},
      {without_end + long_text + ":VELPROP>", lead_out}};
  std::set<std::string> expected, texts;
  for (const auto& [file, text] : rows) {
    EXPECT_EQ(Unpack(file), text);
    expected.insert(text);
  }
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::string cut = Unpack(bytes.substr(0, i));
    EXPECT_NE(cut, "") << i;
    std::string changed = bytes;
    changed[i] = char(~changed[i]);
    texts.insert({cut, Unpack(changed)});
  }
  EXPECT_EQ(texts, expected);
}

TEST_F(PropStoreTest, KeepsOfACutTextWhatCame) {
  for (const std::string& cut :
       {"\0\0\xF2\0\0\0\x80\x61\x62"s, "\0\0\xF1\0\0\0\x80\x61\0\x62\0"s}) {
    VelPropNode read;
    Load(_head + cut, read);
    EXPECT_TRUE(read.Name() == L"ab") << read.Name().size();
  }
}

TEST_F(PropStoreTest, BoundsWhatTheTableIsCopiedTo) {
  const std::string start = _head + "\1\0\0\0\x80\0"s +
                            std::string(0x800000, 'x') + "\xF2\0\0\0\0\xFE"s;
  const auto memory = [&](int children) {
    std::string file = start;
    while (children-- > 0) file += "\xF3\0\0\xFE\xFF"s;
    file += "\xFF\x09\0\0\0:VELPROP>"s;
    VelPropNode read;
    const std::uint64_t before = test::AllocatedBytes();
    Load(file, read);
    return test::AllocatedBytes() - before;
  };
  const std::uint64_t bounded = memory(9);
  EXPECT_NEAR(double(memory(18)), double(bounded), 0x100000);
}

TEST_F(PropStoreTest, HoldsDeepTreesAndManyStrings) {
  VelPropNode deep;
  VelPropNode::Child inner = deep.AddChild(L"d");
  for (int i = 0; i < 10000; ++i) inner = inner->AddChild(L"d");
  inner->SetNumber(L"end", 1);
  VelPropNode read;
  EXPECT_TRUE(Load(Save(deep), read));
  VelPropNode::Child at = read.ChildAt(0);
  while (at->ChildCount() != 0) at = at->ChildAt(0);
  EXPECT_TRUE(at->NumberEquals(L"end", 1));
  // It goes without memory, all but what somebody holds.
  {
    VelPropNode gone;
    gone.AppendChild(deep.ChildAt(0));
    deep.EraseChild(0);
    const auto wide = gone.AddChild(L"wide").get();
    for (int i = 0; i < 9; ++i) wide->AddChild(L"a")->AddChild(L"b");
    Fill(*wide->ChildAt(8), L"ccccccccc");
    const std::weak_ptr<VelPropNode> first = gone.ChildAt(0);
    const test::MemoryRunsOut memory(0);
    while (gone.ChildCount() != 0) gone.EraseChild(0);
    EXPECT_FALSE(memory.happened());
    EXPECT_TRUE(first.expired());
  }
  EXPECT_TRUE(inner->NumberEquals(L"end", 1));

  // The 65,534th string is noted, the next one isn't.
  VelPropNode many;
  for (int i = 0; i < 65534; ++i) many.AddChild(std::to_wstring(i));
  for (auto name : {L"65532", L"65533", L"65532"}) many.AddChild(name);
  const std::string bytes = Save(many);
  EXPECT_EQ(bytes.substr(45, 11), "\1\0"s + Packed("65532"));
  VelPropNode all;
  EXPECT_TRUE(Load(bytes, all));
  EXPECT_EQ(all.ChildCount(), 65537u);
}

TEST_F(PropStoreTest, LeavesTheOldFileUntilTheNewOneIsWhole) {
  VelPropNode tree;
  const std::string old = Save(tree);
  tree.AddChild(L"new");
  const LogCapture log;
  const auto fails_beside = [&](const VelFileStream&, const std::wstring& call,
                                const wchar_t* why) {
    EXPECT_FALSE(VelPropTreeStore(&tree).StorePlain(_path));
    EXPECT_TRUE(log.Contains(3, L"VelPropTreeStore::" + call + _path + why));
  };
  fails_beside(VelFileStream(_path, false),
               L"RenameTemp('" + _path + L".tmp', '", L"'): le=");
  EXPECT_EQ(_scratch.Read(L"tree.ptp"), old);
  EXPECT_TRUE(test::FileExists(_path + L".tmp"));
  fails_beside(VelFileStream(_path + L".tmp", true), L"StorePlain('",
               L"'): Failed to create plain storage");
  EXPECT_FALSE(VelPropTreeStore(&tree).LoadPlain(_scratch.File(L"none")));
  EXPECT_TRUE(log.Contains(3, L"): Failed to open plain storage"));
  EXPECT_NE(Save(tree), old);
  EXPECT_FALSE(test::FileExists(_path + L".tmp"));
}

// Adds entries of its own, all 20 or until it is killed.
VEL_CHILD_MAIN(AddsSources) {
  for (int i = 0; i < 20; ++i) {
    AddDownloadSource(L"C:\\f" + argument + std::to_wstring(i), L"s");
  }
  return 0;
}

class DownloadStoreTest : public testing::Test {
 protected:
  Texts Paths() const {
    Texts paths{L"old content"};
    ListDownloadSources(paths);
    return paths;
  }
  std::wstring Source(const std::wstring& path) const {
    std::wstring source = L"none";
    GetDownloadSource(path, source);
    return source;
  }

  const test::ScratchDirectory _scratch;
  const test::ScopedVariable _app_data{L"APPDATA", _scratch.path()};
};

TEST_F(DownloadStoreTest, KeepsOneSourceForEachPath) {
  const LogCapture log;
  EXPECT_EQ(Paths(), Texts());
  EXPECT_TRUE(log.Contains(3, L"Failed to open plain storage"));
  EXPECT_TRUE(log.Contains(3, L".\\DwlSources"));
  AddDownloadSource(L"C:\\Dir\\One.exe", L"http://one.test/");
  AddDownloadSource(L"C:\\two.exe", L"");
  AddDownloadSource(L"c:\\dir\\one.EXE", L"http://other.test/");
  EXPECT_EQ(Paths(), (Texts{L"C:\\Dir\\One.exe", L"C:\\two.exe"}));
  EXPECT_EQ(Source(L"C:\\DIR\\ONE.exe"), L"http://other.test/");
  EXPECT_EQ(Source(L"C:\\two.exe"), L"");
  EXPECT_EQ(Source(L"C:\\three.exe"), L"none");
  // However the path is written.
  const std::wstring file = _scratch.Write(L"long name\\of a file.data", "");
  wchar_t brief[MAX_PATH] = L"";
  ASSERT_NE(GetShortPathNameW(file.c_str(), brief, MAX_PATH), 0u);
  AddDownloadSource(brief, L"file");
  EXPECT_EQ(Source(file), L"file");
  EXPECT_EQ(Paths().back(), file);
  // A damaged file counts as what could be read of it.
  const FileContents whole(DownloadedFilesPath(), true);
  FileContents(DownloadedFilesPath(), false).edit() =
      whole.data().substr(0, whole.data().size() - 20);
  AddDownloadSource(L"C:\\new", L"n");
  EXPECT_EQ(Source(L"C:\\new"), L"n");
  DeleteDownloadSources();
  EXPECT_FALSE(test::FileExists(DownloadedFilesPath()));
}

// In a process of its own: its first exception is the one that counts. The
// argument is what has to fail, and the log's text.
VEL_CHILD_MAIN(LogsWhyItFailed) {
  const LogCapture log;
  // The lock's name belongs to an object of another kind.
  const ScopedHandle other(CreateEventW(
      nullptr, 1, 0, argument == L"lock" ? L"VEL_DWLSTORE_LOCK" : nullptr));
  if (argument == L"save") {
    CreateDirectoryW((DownloadedFilesPath() + L".tmp").c_str(), nullptr);
    VelPropNode tree;
    return VelPropTreeStore(&tree).StorePlain(DownloadedFilesPath())
               ? 999
               : static_cast<int>(GetLastError());
  }
  Texts paths;
  ListDownloadSources(paths);
  for (const test::LogLine& line : log.Lines()) {
    if (!LogCapture::Contains({line}, 3, L".\\DwlSources")) continue;
    return std::stoi(line.text.substr(line.text.rfind(L' ')));
  }
  return 1000;
}

TEST_F(DownloadStoreTest, LogsTheErrorOfTheCallThatFailed) {
  for (const auto& [failing, error] :
       {std::pair{L"load", DWORD{ERROR_FILE_NOT_FOUND}},
        {L"save", ERROR_ACCESS_DENIED},
        {L"lock", ERROR_INVALID_HANDLE}}) {
    EXPECT_EQ(test::ChildProcess(L"LogsWhyItFailed", failing).Wait(), error);
  }
}

TEST_F(DownloadStoreTest, AFullOrReadOnlyDiskLeavesTheOldFile) {
  const char* const disk = std::getenv("VEL_TEST_SMALL_DISK");
  if (disk == nullptr) GTEST_SKIP() << "VEL_TEST_SMALL_DISK isn't set";
  _app_data.Set({disk, disk + std::strlen(disk)});
  // On the second run, read-only, the entry is that of the first.
  if (Paths().empty()) AddDownloadSource(L"C:\\kept", L"s");
  const LogCapture log;
  {
    VelFileStream filler(DownloadedFilesPath() + L".filler", true);
    while (filler.Write(std::string(0x10000, 'x').data(), 0x10000)) {
    }
  }
  // How the last 64 KiB go out isn't seen.
  AddDownloadSource(L"C:\\lost", std::wstring(0x10001, L's'));
  EXPECT_TRUE(log.Contains(3, L".\\DwlSources"));
  EXPECT_EQ(Paths(), Texts{L"C:\\kept"});
}

TEST_F(DownloadStoreTest, LosesNothingBetweenProcessesAndKilledOnes) {
  std::vector<test::ChildProcess> children;
  for (const wchar_t* name : {L"a", L"b", L"c", L"d"}) {
    children.emplace_back(L"AddsSources", name);
  }
  for (auto& child : children) EXPECT_EQ(child.Wait(), 0u);
  EXPECT_EQ(Paths().size(), 80u);
  // Each leaves the file whole, and at times the lock behind.
  const int kills = test::ShareOfSoak(25, 1000);
  std::size_t before = 80;
  for (int i = 0; i < kills; ++i) {
    test::ChildProcess child(L"AddsSources", L"k" + std::to_wstring(i));
    EXPECT_TRUE(test::WaitUntil([&] { return Paths().size() > before; }));
    Sleep(static_cast<DWORD>(i * 7 % 20));
    child.Kill();
    VelPropNode tree;
    EXPECT_TRUE(VelPropTreeStore(&tree).LoadPlain(DownloadedFilesPath()));
    EXPECT_GT(Paths().size(), before);
    before = Paths().size();
  }
}

}  // namespace
}  // namespace vel
