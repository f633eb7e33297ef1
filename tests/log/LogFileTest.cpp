// The log's file: its header, when it is replaced, and what the log does when
// it can't be had.

#include <gtest/gtest.h>

#include <cstring>
#include <windows.h>

#include <functional>
#include <memory>

#include "log/LogChain.h"
#include "log/LogMutex.h"
#include "log/VelLog.h"
#include "support/ChildProcess.h"
#include "support/LogFile.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Threads.h"
#include "support/VelLogStreamPeer.h"
#include "support/Wait.h"

namespace vel {
namespace {

const std::string kPlain("VELLOG.0\xFF\xFE\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 24);
const std::string kUnit(16, 'u');
const std::string kPrevious(100, 'p');

class LogFile : public testing::Test {
 protected:
  std::string Read(const std::wstring& name) const {
    return test::ReadBytes(Path(name));
  }
  std::wstring Path(const std::wstring& name) const {
    return _directory.File(L"VelTmp\\Logs\\" + name);
  }
  std::wstring Write(const std::wstring& name, const std::string& data) const {
    return _directory.Write(L"VelTmp\\Logs\\" + name, data);
  }
  // The names of the directory that `pattern` fits.
  int Count(const std::wstring& pattern) const {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(Path(pattern).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return 0;
    int count = 1;
    while (FindNextFileW(search, &found)) ++count;
    FindClose(search);
    return count;
  }
  HANDLE Open(const std::wstring& name) const {
    return CreateFileW(Path(name).c_str(), GENERIC_READ | GENERIC_WRITE, 7,
                       nullptr, OPEN_ALWAYS, 0, nullptr);
  }

  const test::ScratchDirectory _directory;
  const test::ScopedVariable _temporary{L"TMP", _directory.path()};
  const test::ScopedVariable _flags{L"VELLOGFLAGS", L"1"};
};

TEST_F(LogFile, APlainFileHoldsUnitsAsTheyCome) {
  {
    VelLogStream stream(L"A.b");
    VelLogStreamPeer peer(stream);
    EXPECT_EQ(stream.path(), Path(L"A.b.swl"));
    EXPECT_EQ(peer.write_out(kUnit), 0);
    EXPECT_EQ(Read(L"A.b.swl"), kPlain + kUnit);
    peer.begin_file(0xC0000022);
    EXPECT_EQ(Read(L"A.b.swl").size(), 2 * kPlain.size() + 16 + 128);
  }
  const std::string bytes = Read(L"A.b.swl").substr(2 * kPlain.size() + 16);
  std::wstring text(64, L'\0');
  std::memcpy(text.data(), bytes.data(), bytes.size());
  EXPECT_STREQ(text.c_str(), L"stream_key_init_error=0xc0000022\n");
}

TEST_F(LogFile, AnEncipheredFileIsReadWithThePrivateKey) {
  if (!test::HasPrivateKey()) GTEST_SKIP() << "the private key isn't here";
  _flags.Set(L"");
  VelLogStream stream(L"T");
  VelLogStreamPeer peer(stream);
  peer.write_out(kUnit + kUnit + "cut tail");
  const std::string bytes = Read(L"T.swl");
  ASSERT_EQ(bytes.size(), 76u + 3 * 16);
  EXPECT_EQ(bytes.substr(92, 16), bytes.substr(108, 16));
  EXPECT_EQ(test::ReadUnits(Path(L"T.swl")).substr(16), kUnit + kUnit);
}

TEST_F(LogFile, AFileThatIsntOursIsMovedAside) {
  _flags.Set(L"");
  { VelLogStream stream(L"T"); }
  const std::string ours = Read(L"T.swl");
  std::string other = ours;
  other[50] = static_cast<char>(other[50] ^ 1);
  std::string length = ours;
  length[8] = 63;
  const struct {
    const wchar_t* flags;
    std::string content;
    bool kept;
  } kCases[] = {
      {L"1", kPlain, true},
      {L"1", ours, false},
      {L"1", "", false},
      {L"1", "VELL", false},
      {L"0", ours, true},
      {L"2x", ours, true},
      {L"0", kPlain, false},
      {L"0", "", false},
      {L"0", other, false},
      {L"0", length, false},
      {L"0", "VELLOG.2" + ours, false},
      {L"0", ours.substr(0, 75), false},
  };
  for (const auto& one : kCases) {
    DeleteFileW(Path(L"T.swl.old").c_str());
    Write(L"T.swl", one.content);
    _flags.Set(one.flags);
    { VelLogStream stream(L"T"); }
    EXPECT_EQ(Read(L"T.swl"), one.flags[0] == L'1' ? kPlain : ours);
    EXPECT_EQ(Count(L"T.swl.old"), one.kept ? 0 : 1) << &one - kCases;
    EXPECT_EQ(Read(L"T.swl.old"), one.kept ? "" : one.content);
  }
}

TEST_F(LogFile, AFileOfAnEarlierBootIsMovedAside) {
  const auto age = [&](const std::string& content) {
    Write(L"T.swl", content);
    const FILETIME long_ago = {0, 0x01B00000};
    const HANDLE file = Open(L"T.swl");
    EXPECT_TRUE(SetFileTime(file, nullptr, nullptr, &long_ago));
    CloseHandle(file);
    VelLogStream stream(L"T");
  };
  for (const char* content : {"first", "second"}) {
    age(kPlain + content);
    EXPECT_EQ(Read(L"T.swl.old"), kPlain + content);
    EXPECT_EQ(Read(L"T.swl"), kPlain);
  }
  DeleteFileW(Path(L"T.swl.old").c_str());
  CreateDirectoryW(Path(L"T.swl.old").c_str(), nullptr);
  age(kPlain + "in the way");
  EXPECT_EQ(Read(L"T.swl"), kPlain);
}

// What a write does to the two files, by what has become of the log's own.
TEST_F(LogFile, EveryStateOfTheFileLeadsToAFile) {
  const std::string full = kPlain + kUnit;
  const struct {
    const char* state;
    std::function<void(VelLogStreamPeer&)> bring_about;
    std::string current, previous;  // after one more write
  } kCases[] = {
      {"below the limit",
       [](VelLogStreamPeer& log) { log.rotation_limit() = 1000; }, full + kUnit,
       kPrevious},
      {"at the limit", [](VelLogStreamPeer&) {}, kPlain + kUnit, full},
      {"no previous file",
       [&](VelLogStreamPeer&) { DeleteFileW(Path(L"T.swl.old").c_str()); },
       kPlain + kUnit, full},
      {"killed names taken",
       [&](VelLogStreamPeer&) {
         CreateDirectoryW(Path(L"killed.0").c_str(), nullptr);
         CreateDirectoryW(Path(L"killed.1").c_str(), nullptr);
       },
       kPlain + kUnit, full},
      {"a previous name that isn't a file's",
       [&](VelLogStreamPeer&) {
         DeleteFileW(Path(L"T.swl.old").c_str());
         CreateDirectoryW(Path(L"T.swl.old").c_str(), nullptr);
       },
       full + kUnit, ""},
      {"moved by another process",
       [&](VelLogStreamPeer& log) {
         CloseHandle(std::exchange(log.file(), Open(L"T.swl.OLD")));
       },
       full + kUnit, kPrevious},
      {"a name without an extension",
       [&](VelLogStreamPeer& log) {
         Write(L"noext", full);
         CloseHandle(std::exchange(log.file(), Open(L"noext")));
       },
       full + kUnit, kPrevious},
      {"a short extension",
       [&](VelLogStreamPeer& log) {
         Write(L"short.ex", full);
         CloseHandle(std::exchange(log.file(), Open(L"short.ex")));
       },
       full + kUnit, kPrevious},
      {"emptied",
       [&](VelLogStreamPeer& log) {
         CloseHandle(std::exchange(log.file(), Open(L"empty.swl")));
       },
       full + kUnit, kPrevious},
      {"closed", [](VelLogStreamPeer& log) { CloseHandle(log.file()); },
       full + kUnit, kPrevious},
      {"no file at all",
       [](VelLogStreamPeer& log) {
         CloseHandle(std::exchange(
             log.file(), CreateEventW(nullptr, FALSE, FALSE, nullptr)));
       },
       full + kUnit, kPrevious},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.state);
    RemoveDirectoryW(Path(L"T.swl.old").c_str());
    Write(L"T.swl.old", kPrevious);
    Write(L"T.swl", kPlain);
    VelLogStream stream(L"T");
    VelLogStreamPeer log(stream);
    log.write_out(kUnit);
    log.rotation_limit() = full.size();
    one.bring_about(log);
    SetLastError(0x1234);
    EXPECT_EQ(log.write_out(kUnit), 0);
    EXPECT_EQ(Read(L"T.swl"), one.current);
    EXPECT_EQ(Read(L"T.swl.old"), one.previous);
  }
  EXPECT_EQ(Count(L"killed.*"), 2);
}

// The slow one writes on into the moved file until that is emptied.
TEST_F(LogFile, ASlowProcessFollowsItsFileAndLosesWhatIsEmptied) {
  VelLogStream slow_stream(L"T");
  VelLogStreamPeer slow(slow_stream);
  VelLogStream stream(L"T");
  VelLogStreamPeer log(stream);
  const auto rotate = [&] {
    log.write_out(kUnit);
    log.rotation_limit() = kPlain.size() + 1;
    log.write_out(kUnit);
    log.rotation_limit() = 1000;
  };
  rotate();
  slow.write_out("slow process 1..");
  EXPECT_EQ(Read(L"T.swl"), kPlain + kUnit);
  EXPECT_EQ(Read(L"T.swl.old"), kPlain + kUnit + "slow process 1..");
  rotate();
  EXPECT_EQ(Count(L"killed.0"), 1) << "held open under another name";
  slow.write_out("slow process 2..");
  EXPECT_EQ(Read(L"T.swl"), kPlain + kUnit + "slow process 2..");
  EXPECT_EQ(Read(L"T.swl.old"), kPlain + kUnit + kUnit);
  EXPECT_EQ(Count(L"killed.*"), 0);
}

VEL_CHILD_MAIN(LoseTheHandleInADebugRun) {
  SetEnvironmentVariableW(L"VELLOG", argument.c_str());
  IVelLog::create(L"T");
  CloseHandle(VelLogStreamPeer().file());
  VelLog_Print(3, L"no handle");
  return 0;
}

TEST_F(LogFile, AHandleClosedByOthersIsAFaultOfADebugRun) {
  for (const auto& [level, code] : {std::pair(L"1", 0x80000003), {L"2", 0}}) {
    test::ChildProcess child(L"LoseTheHandleInADebugRun", level);
    EXPECT_EQ(child.Wait(), code);
  }
}

// Each keeps the log from its file and gives a way back to it.
TEST_F(LogFile, WithoutAFileTheLogTriesAgainAtEveryPush) {
  const std::wstring place = _directory.File(L"later");
  _temporary.Set(place);
  VelLogStream no_directory(L"T");
  const auto make_directories = [&] {
    for (const wchar_t* level : {L"", L"\\VelTmp", L"\\VelTmp\\Logs"}) {
      CreateDirectoryW((place + level).c_str(), nullptr);
    }
  };
  VelLogStreamPeer log(no_directory);
  EXPECT_EQ(no_directory.path(), nullptr);
  SetLastError(0x1234);
  log.print(3, L"lost");
  EXPECT_EQ(GetLastError(), 0x1234u);
  make_directories();
  log.print(3, L"kept");
  const std::wstring path = place + L"\\VelTmp\\Logs\\T.swl";
  ASSERT_EQ(test::ReadLog(path).size(), 1u);
  EXPECT_EQ(test::ReadLog(path)[0].text, L"kept");

  CreateDirectoryW((place + L"\\VelTmp\\Logs\\U.swl").c_str(), nullptr);
  VelLogStream no_file(L"U");
  VelLogStreamPeer taken(no_file);
  EXPECT_EQ(no_file.path(), nullptr);
  EXPECT_LT(taken.write_out(kUnit), 0);
  RemoveDirectoryW((place + L"\\VelTmp\\Logs\\U.swl").c_str());
  EXPECT_EQ(taken.write_out(kUnit), 0);
  VelLogStream no_path(std::wstring(400, L'x').c_str());
  EXPECT_EQ(no_path.path(), nullptr);
}

TEST_F(LogFile, ARefusedOrFullDiskCostsOnlyTheRecords) {
  wchar_t disk[MAX_PATH];
  if (GetEnvironmentVariableW(L"VEL_TEST_SMALL_DISK", disk, MAX_PATH) == 0) {
    GTEST_SKIP() << "VEL_TEST_SMALL_DISK names no disk that can be filled";
  }
  _temporary.Set(disk);
  VelLogStream stream(L"T");
  VelLogStreamPeer log(stream);
  while (log.write_out(std::string(4096, 'x')) == 0) {
  }
  SetLastError(0x1234);
  log.print(3, L"no room");
  EXPECT_EQ(GetLastError(), 0x1234u);
  EXPECT_NE(stream.path(), nullptr);
}

TEST(LogSettings, TheLimitIsTheMachinesIfItIsANumber) {
  constexpr wchar_t kKey[] = L"SOFTWARE\\Tessavane\\VEL";
  const std::uint64_t kDefaults[] = {0x8000000, 0x8000000, 0x400000, 0x400000};
  for (unsigned level = 0; level < 4; ++level) {
    EXPECT_EQ(read_rotation_limit(level), kDefaults[level]);
  }
  const struct {
    std::uint64_t value;
    DWORD size;
    std::uint64_t limit;
  } kCases[] = {{127, 4, 128 * 1024},
                {300, 4, 300 * 1024},
                {0xFFFFFFFF, 4, 0xFFFFFFFFull * 1024},
                {300, 8, 0x400000},
                {300, 2, 0x400000}};
  for (const auto& one : kCases) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogRotationDefault", REG_BINARY,
                    &one.value, one.size);
    EXPECT_EQ(read_rotation_limit(2), one.limit) << one.value;
    EXPECT_EQ(read_rotation_limit(1), 0x8000000u);
  }
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogRotationDefault");
}

// With the name of the mutex taken by something else, with the mutex refused
// for a while, left by a thread that died, and held for too long.
TEST_F(LogFile, TheMutexIsNoCondition) {
  const auto takes = [] { return LogMutex().taken(); };
  const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, LogMutex::kName);
  EXPECT_FALSE(takes());
  CloseHandle(event);
  ACL empty;
  InitializeAcl(&empty, sizeof empty, ACL_REVISION);
  SECURITY_DESCRIPTOR nobody;
  InitializeSecurityDescriptor(&nobody, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&nobody, TRUE, &empty, FALSE);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, &nobody, FALSE};
  const HANDLE refused = CreateMutexW(&attributes, TRUE, LogMutex::kName);
  std::thread late([&] {
    Sleep(200);
    CloseHandle(refused);
  });
  EXPECT_TRUE(takes());
  late.join();
  test::HoldingThread killed([] { new LogMutex; });
  killed.Kill();
  EXPECT_TRUE(takes());
  test::HoldingThread owner([] { new LogMutex; });
  const DWORD start = GetTickCount();
  VelLogStream stream(L"T");
  EXPECT_GE(GetTickCount() - start, 14900u);
  EXPECT_NE(stream.path(), nullptr);
}

// A thread that is removed inside an allocator must not hold up the log.
TEST_F(LogFile, NoHeapButTheLogsIsEnteredByAWriteOrARotation) {
  _flags.Set(L"");
  VelLogStream stream(L"T");
  VelLogStreamPeer log(stream);
  _flags.Set(L"1");  // asking for the user's key takes memory of the system
  std::atomic<bool> locked{false}, done{false};
  const HANDLE end = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  test::Meeting begun(2);  // a thread's own start takes memory
  std::thread writer([&] {
    begun.Join();
    while (!locked) Sleep(1);
    log.print(3, L"%s", L"enciphered");
    done = log.cipher().set_key(log.stream_key());
    log.ciphered() = false;
    log.rotation_limit() = 100;
    log.print(3, L"%s", L"rotated");
    SetEvent(end);
  });
  begun.Join();
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(std::size(heaps), heaps);
  for (DWORD i = 0; i < count; ++i) {
    if (heaps[i] != log.heap()) HeapLock(heaps[i]);
  }
  locked = true;
  const DWORD result = WaitForSingleObject(end, 10000);
  for (DWORD i = 0; i < count; ++i) {
    if (heaps[i] != log.heap()) HeapUnlock(heaps[i]);
  }
  writer.join();
  CloseHandle(end);
  EXPECT_EQ(result, WAIT_OBJECT_0);
  EXPECT_TRUE(done);
  EXPECT_EQ(test::ReadLog(Path(L"T.swl"))[0].text, L"rotated");
}

TEST_F(LogFile, TheFlushThreadWritesInOrderAndEndsWithItsOwner) {
  auto stream = std::make_unique<VelLogStream>(L"T");
  auto log = std::make_unique<VelLogStreamPeer>(*stream);
  log->start_flush_thread();
  for (int i = 0; i < 100; ++i) log->print(3, L"%i", i);
  stream.reset();
  std::vector<test::LogLine> lines = test::ReadLog(Path(L"T.swl"));
  ASSERT_EQ(lines.size(), 100u);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(lines[static_cast<std::size_t>(i)].text, std::to_wstring(i));
  }

  stream = std::make_unique<VelLogStream>(L"T");
  log = std::make_unique<VelLogStreamPeer>(*stream);
  std::thread([&] { log->start_flush_thread(); }).join();
  EXPECT_TRUE(test::WaitUntil([&] {
    log->print(3, L"late");
    return !log->use_flush_thread();
  }));
  EXPECT_EQ(test::ReadLog(Path(L"T.swl")).back().text, L"late");
}

TEST_F(LogFile, AFinishedLogGoesIntoTheChain) {
  const std::wstring chain = Path(L"T") + kLogChainExtension;
  const std::string size("\x03\0\0\0\0\0\0\0", 8);
  EXPECT_FALSE(append_to_chain(Path(L"none").c_str(), chain.c_str()));
  std::string expected;
  for (const char* content : {"one", "two"}) {
    EXPECT_TRUE(
        append_to_chain(Write(L"X.swl", content).c_str(), chain.c_str()));
    expected += size + content;
    EXPECT_EQ(test::ReadBytes(chain), expected);
  }
  Write(L"T.chn", std::string(0x1000001, 'x'));
  EXPECT_TRUE(append_to_chain(Write(L"X.swl", "new").c_str(), chain.c_str()));
  EXPECT_EQ(test::ReadBytes(chain), size + "new");
  EXPECT_EQ(Count(L"X*"), 0);
  const HANDLE busy = CreateFileW(chain.c_str(), GENERIC_READ, 0, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  EXPECT_FALSE(append_to_chain(Write(L"X.swl", "y").c_str(), chain.c_str()));
  CloseHandle(busy);
  EXPECT_EQ(Count(L"X*"), 0);
}

}  // namespace
}  // namespace vel
