// The log's file: its header, when it is replaced, and what the log does when
// it can't be had.

#include <cstring>

#include "log/LogChain.h"
#include "log/LogMutex.h"
#include "log/VelLog.h"
#include "support/LogDirectory.h"
#include "support/Threads.h"
#include "support/VelLogStreamPeer.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

const std::string kPlain("VELLOG.0\xFF\xFE\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 24);
const std::string kUnit(16, 'u');
const std::string kFull = kPlain + kUnit;
const std::string kPrevious(100, 'p');

struct Stream {
  VelLogStream stream;
};

struct Log : Stream, VelLogStreamPeer {
  explicit Log(const wchar_t* source = L"T")
      : Stream{VelLogStream(source)}, VelLogStreamPeer(stream) {}
  const wchar_t* path() const { return stream.path(); }
};

class LogFile : public testing::Test {
 protected:
  const test::LogDirectory _logs{L"1"};
};

TEST_F(LogFile, APlainFileHoldsUnitsAsTheyCome) {
  Log log(L"A.b");
  EXPECT_EQ(log.path(), _logs.Path(L"A.b.swl"));
  EXPECT_EQ(log.write_out(kUnit), 0);
  EXPECT_EQ(_logs.Read(L"A.b.swl"), kFull);
  log.begin_file(0xC0000022);
  const std::string record =
      _logs.Read(L"A.b.swl").substr(kFull.size() + kPlain.size());
  wchar_t text[64];
  ASSERT_EQ(record.size(), sizeof text);
  std::memcpy(text, record.data(), sizeof text);
  EXPECT_STREQ(text, L"stream_key_init_error=0xc0000022\n");
}

TEST_F(LogFile, AnEncipheredFileIsReadWithThePrivateKey) {
  if (!test::HasPrivateKey()) GTEST_SKIP() << "the private key isn't here";
  _logs.SetFlags(L"");
  Log().write_out(kUnit + kUnit + "cut tail");
  const std::string bytes = _logs.Read(L"T.swl");
  ASSERT_EQ(bytes.size(), 76u + 3 * 16);
  EXPECT_EQ(bytes.substr(92, 16), bytes.substr(108, 16));
  EXPECT_EQ(test::ReadUnits(_logs.Path(L"T.swl")).substr(16), kUnit + kUnit);
}

TEST_F(LogFile, AFileThatIsntOursIsMovedAside) {
  _logs.SetFlags(L"");
  { Log log; }
  const std::string ours = _logs.Read(L"T.swl");
  std::string other = ours, length = ours;
  other[50] = static_cast<char>(other[50] ^ 1);
  length[8] = 63;
  std::vector<std::string> contents = {kPlain,     ours,  "",     "VELL",
                                       "VELLOG.0", other, length, "VELLOG.2"};
  contents.push_back(kPlain.substr(0, 23));
  for (const int size : {75, 76, 91}) contents.push_back(ours.substr(0, size));
  for (const std::string& content : contents) {
    for (const wchar_t* flags : {L"1", L"2x"}) {
      _logs.Remove(L"T.swl.old");
      _logs.Write(L"T.swl", content);
      _logs.SetFlags(flags);
      { Log log; }
      const std::string& right = flags[0] == L'1' ? kPlain : ours;
      EXPECT_EQ(_logs.Read(L"T.swl"), right);
      EXPECT_EQ(_logs.Count(L"T.swl.old"), content == right ? 0 : 1);
      EXPECT_EQ(_logs.Read(L"T.swl.old"), content == right ? "" : content);
    }
  }
}

// Emptied by another program, or left without room for its beginning.
TEST_F(LogFile, AnEmptyFileBeginsAgainAtTheNextWrite) {
  for (const wchar_t* flags : {L"1", L"2x"}) {
    _logs.SetFlags(flags);
    Log log;
    const std::string beginning = _logs.Read(L"T.swl");
    log.write_out(kUnit);
    const std::string whole = _logs.Read(L"T.swl");
    CloseHandle(CreateFileW(log.path(), GENERIC_WRITE, 7, nullptr,
                            TRUNCATE_EXISTING, 0, nullptr));
    log.write_out(kUnit);
    EXPECT_EQ(_logs.Read(L"T.swl"), whole);
    EXPECT_GE(beginning.size(), kPlain.size());
    EXPECT_EQ(whole.substr(0, beginning.size()), beginning);
  }
}

TEST_F(LogFile, AfterACutWriteZerosLeadToTheNextUnit) {
  for (const wchar_t* flags : {L"1", L"2x"}) {
    _logs.SetFlags(flags);
    Log log;
    log.write_out(kUnit);
    const std::string whole = _logs.Read(L"T.swl");
    const std::string unit = whole.substr(whole.size() - kUnit.size());
    for (std::size_t cut = 1; cut < kUnit.size(); ++cut) {
      _logs.Cut(L"T.swl", whole.size() - cut);
      log.write_out(kUnit);
      log.write_out(kUnit);
      EXPECT_EQ(_logs.Read(L"T.swl"), whole.substr(0, whole.size() - cut) +
                                          std::string(cut, '\0') + unit + unit)
          << cut;
      _logs.Cut(L"T.swl", whole.size());
    }
  }
}

// Past the collecting buffer and through it.
TEST_F(LogFile, ARecordOfAnyLengthComesWholeAfterACutWrite) {
  Log log;
  for (const std::size_t length : {10, 1700, 1900, 40000}) {
    log.write_out(kUnit);
    const std::size_t cut = _logs.Read(L"T.swl").size() - 1;
    _logs.Cut(L"T.swl", cut);
    log.print(3, L"%s|", std::wstring(length, L'x').c_str());
    const std::string after = _logs.Read(L"T.swl").substr(cut + 1);
    ASSERT_GT(after.size(), 2 * length);
    std::wstring text(after.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), after.data(), after.size());
    EXPECT_EQ(text.find(L"x|\r\n"), text.find(L'x') + length - 1);
  }
}

TEST_F(LogFile, AFileOfAnEarlierBootIsMovedAside) {
  for (const char* content : {"first", "second", "in the way"}) {
    if (*content == 'i') _logs.Remove(L"T.swl.old");
    if (*content == 'i') _logs.MakeDirectory(L"T.swl.old");
    _logs.Write(L"T.swl", kPlain + content);
    const FILETIME long_ago = {0, 0x01B00000};
    const HANDLE file = _logs.Open(L"T.swl");
    EXPECT_TRUE(SetFileTime(file, nullptr, nullptr, &long_ago));
    CloseHandle(file);
    { Log log; }
    EXPECT_EQ(_logs.Read(L"T.swl.old"),
              *content == 'i' ? "" : kPlain + content);
    EXPECT_EQ(_logs.Read(L"T.swl"), kPlain);
  }
}

TEST_F(LogFile, AFullFileBecomesThePreviousOne) {
  _logs.Write(L"T.swl", kFull);
  _logs.MakeDirectory(L"killed.0");  // the first free name is another
  for (const char* previous : {"none", "file", "directory"}) {
    _logs.Remove(L"T.swl.old");
    if (*previous == 'f') _logs.Write(L"T.swl.old", kPrevious);
    if (*previous == 'd') _logs.MakeDirectory(L"T.swl.old");
    _logs.Write(L"T.swl", kFull);
    Log log;
    log.rotation_limit() = kFull.size();
    EXPECT_EQ(log.write_out(kUnit), 0);
    const bool moved = *previous != 'd';
    EXPECT_EQ(_logs.Read(L"T.swl"), moved ? kFull : kFull + kUnit) << previous;
    EXPECT_EQ(_logs.Read(L"T.swl.old"), moved ? kFull : "") << previous;
  }
  EXPECT_EQ(_logs.Count(L"killed.*"), 1);
}

TEST_F(LogFile, ASlowProcessFollowsItsFileAndLosesWhatIsEmptied) {
  Log slow, log;
  const auto rotate = [&] {
    log.write_out(kUnit);
    log.rotation_limit() = kPlain.size() + 1;
    log.write_out(kUnit);
    log.rotation_limit() = 1000;
  };
  rotate();
  slow.write_out(kPrevious.substr(0, 16));
  EXPECT_EQ(_logs.Read(L"T.swl"), kFull);
  EXPECT_EQ(_logs.Read(L"T.swl.old"), kFull + kPrevious.substr(0, 16));
  rotate();
  EXPECT_EQ(_logs.Count(L"killed.0"), 1) << "open under another name";
  slow.write_out(kUnit);
  EXPECT_EQ(_logs.Read(L"T.swl"), kFull + kUnit);
  EXPECT_EQ(_logs.Read(L"T.swl.old"), kFull + kUnit);
  EXPECT_EQ(_logs.Count(L"killed.*"), 0);
}

TEST_F(LogFile, WithoutAFileTheLogTriesAgainAtEveryPush) {
  { Log log; }
  _logs.Remove(L"T.swl");
  _logs.MakeDirectory(L"T.swl");  // in the way
  Log log;
  EXPECT_EQ(log.path(), nullptr);
  SetLastError(0x1234);
  log.print(3, L"lost");
  EXPECT_EQ(GetLastError(), 0x1234u);
  EXPECT_LT(log.write_out(kUnit), 0);
  _logs.Remove(L"T.swl");
  log.print(3, L"kept");
  EXPECT_EQ(test::ReadLog(_logs.Path(L"T.swl")).at(0).text, L"kept");
  EXPECT_EQ(Log(std::wstring(400, L'x').c_str()).path(), nullptr);
  const test::ScopedVariable nowhere(L"TMP", _logs.Path(L"none\\none"));
  EXPECT_EQ(Log().path(), nullptr);
}

// Takes all the room of a disk while it is open.
ScopedFileHandle Ballast(const std::wstring& disk) {
  ScopedFileHandle file(CreateFileW((disk + L"\\ballast").c_str(),
                                    GENERIC_WRITE, 7, nullptr, CREATE_ALWAYS,
                                    FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  const std::string page(4096, 'b');
  for (DWORD written = 1; written != 0;) {
    if (!WriteFile(file.get(), page.data(), 4096, &written, nullptr)) break;
  }
  return file;
}

TEST_F(LogFile, RoomOnAFullOrReadOnlyDiskBringsTheFileAndItsUnitsBack) {
  const char* const name = std::getenv("VEL_TEST_SMALL_DISK");
  if (name == nullptr) GTEST_SKIP() << "VEL_TEST_SMALL_DISK isn't set";
  const std::wstring disk(name, name + std::strlen(name));
  const test::ScopedVariable full(L"TMP", disk);
  for (const wchar_t* flags : {L"1", L""}) {
    if (!*flags && !test::HasPrivateKey()) GTEST_SKIP() << "no private key";
    _logs.SetFlags(flags);
    DeleteFileW((disk + L"\\VelTmp\\Logs\\T.swl").c_str());
    ScopedFileHandle ballast = Ballast(disk);
    Log log;
    SetLastError(0x1234);
    log.print(3, L"lost");
    EXPECT_EQ(GetLastError(), 0x1234u);
    EXPECT_NE(log.write_out(kUnit), 0);
    if (!ballast) GTEST_SKIP() << "the disk is read-only";
    ballast.reset();
    log.print(3, L"first");
    ASSERT_NE(log.path(), nullptr);
    EXPECT_EQ(test::ReadLog(log.path()).at(0).text, L"first");
    // The file has the rest of its page.
    ballast = Ballast(disk);
    SetLastError(0x1234);
    log.print(3, L"%s", std::wstring(5000, L'c').c_str());
    EXPECT_EQ(GetLastError(), 0x1234u);
    EXPECT_EQ(test::ReadBytes(log.path()).size(), 4096u);
    ballast.reset();
    log.print(3, L"after");
    const std::string units = test::ReadUnits(log.path());
    EXPECT_NE(units.find(std::string("a\0f\0t\0e\0r\0\r\0\n", 13)),
              std::string::npos);
  }
}

TEST(LogSettings, TheLimitIsTheMachinesIfItIsANumber) {
  constexpr wchar_t kKey[] = L"SOFTWARE\\Tessavane\\VEL";
  constexpr std::uint64_t kDefault = 0x400000, kDebugDefault = 0x8000000;
  EXPECT_EQ(read_rotation_limit(2), kDefault);
  using Case = std::tuple<std::uint64_t, DWORD, std::uint64_t>;
  for (const auto& [value, size, limit] : {Case{127, 4, 0x20000},
                                           {300, 4, 0x4B000},
                                           {300, 2, kDefault},
                                           {300, 8, kDefault},
                                           {0xFFFFFFFF, 4, 0x3FFFFFFFC00}}) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogRotationDefault", REG_BINARY,
                    &value, size);
    EXPECT_EQ(read_rotation_limit(2), limit) << value;
    EXPECT_EQ(read_rotation_limit(1), kDebugDefault);
  }
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogRotationDefault");
}

// Left by a thread that died, and held for too long.
TEST_F(LogFile, TheMutexIsNoCondition) {
  test::HoldingThread killed([] { new LogMutex; });
  killed.Kill();
  EXPECT_TRUE(LogMutex().taken());
  test::HoldingThread owner([] { new LogMutex; });
  const DWORD start = GetTickCount();
  EXPECT_NE(Log().path(), nullptr);
  EXPECT_GE(GetTickCount() - start, 14900u);
}

// A thread that is removed inside an allocator must not hold up the log.
TEST_F(LogFile, NoHeapButTheLogsIsEnteredByAWriteOrARotation) {
  _logs.SetFlags(L"");
  Log log;
  _logs.SetFlags(L"1");  // asking for the user's key takes memory of the system
  std::atomic<bool> locked{false}, done{false};
  test::Meeting begun(2);  // a thread's own start takes memory
  std::thread writer([&] {
    begun.Join();
    while (!locked) Sleep(1);
    log.print(3, L"%s", L"enciphered");
    const bool set = log.cipher().set_key(log.stream_key());
    log.ciphered() = false;
    log.rotation_limit() = 100;
    log.print(3, L"%s", L"rotated");
    done = set;
  });
  begun.Join();
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(std::size(heaps), heaps);
  const auto each = [&](WINBOOL(WINAPI * call)(HANDLE)) {
    for (DWORD i = 0; i < count; ++i) {
      if (heaps[i] != log.heap()) call(heaps[i]);
    }
  };
  each(HeapLock);
  locked = true;
  const bool in_time = test::WaitUntil([&] { return done.load(); }, 10000);
  each(HeapUnlock);
  writer.join();
  EXPECT_TRUE(in_time);
  EXPECT_EQ(test::ReadLog(_logs.Path(L"T.swl"))[0].text, L"rotated");
}

TEST_F(LogFile, AFinishedLogGoesIntoTheChain) {
  const std::string size("\x03\0\0\0\0\0\0\0", 8);
  const auto append = [&](const char* content) {
    if (content != nullptr) _logs.Write(L"X.swl", content);
    const bool done =
        append_to_chain(_logs.Path(L"X.swl").c_str(),
                        (_logs.Path(L"X") + kLogChainExtension).c_str());
    EXPECT_EQ(_logs.Count(L"X.swl*"), 0);
    return done;
  };
  _logs.Write(L"X.chn", std::string(0x1000001, 'x'));
  EXPECT_FALSE(append(nullptr));
  EXPECT_TRUE(append("one") && append("two"));
  EXPECT_EQ(_logs.Read(L"X.chn"), size + "one" + size + "two");
  const HANDLE busy = CreateFileW(_logs.Path(L"X.chn").c_str(), GENERIC_READ, 0,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_FALSE(append("y"));
  CloseHandle(busy);
}

}  // namespace
}  // namespace vel
