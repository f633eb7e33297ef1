// Thread flags and memory blocks.
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "support/LogCapture.h"
#include "sync/ScopedHandle.h"
#include "sync/VelMemUtils.h"
#include "sync/VelThreadFlag.h"

namespace vel {

class VelThreadFlagPeer {
 public:
  static DWORD slot(const VelThreadFlag& flag) { return flag._slot; }
  static std::uint64_t mask(const VelThreadFlag& flag) { return flag._mask; }
};

namespace {

using Peer = VelThreadFlagPeer;

TEST(VelThreadFlagTest, SixtyFourShareASlotAndTheLowestFreeBitIsTaken) {
  std::vector<std::unique_ptr<VelThreadFlag>> flags;
  for (int i = 0; i < 65; ++i)
    flags.push_back(std::make_unique<VelThreadFlag>());
  const DWORD first = Peer::slot(*flags[0]);
  EXPECT_EQ(Peer::slot(*flags[63]), first);
  EXPECT_EQ(Peer::mask(*flags[63]), std::uint64_t{1} << 63);
  const DWORD second = Peer::slot(*flags[64]);
  EXPECT_NE(second, first);
  EXPECT_EQ(Peer::mask(*flags[64]), 1u);

  flags[40].reset();
  flags[7].reset();
  flags[7] = std::make_unique<VelThreadFlag>();
  EXPECT_EQ(Peer::mask(*flags[7]), std::uint64_t{1} << 7);
  flags.clear();
  // Both slots are free again.
  const DWORD again = TlsAlloc();
  EXPECT_TRUE(again == first || again == second);
  TlsFree(again);
}

TEST(VelThreadFlagTest, EachThreadHasItsOwnAndKeepsItsLastError) {
  VelThreadFlag flag;
  const VelThreadFlag neighbour;
  SetLastError(4711);
  EXPECT_TRUE(flag.try_set());
  EXPECT_FALSE(flag.try_set());
  EXPECT_FALSE(flag.is_clear());
  EXPECT_TRUE(neighbour.is_clear());
  flag.clear();
  EXPECT_EQ(GetLastError(), 4711u);
  EXPECT_TRUE(flag.try_set());
  std::thread([&] { EXPECT_TRUE(flag.is_clear() && flag.try_set()); }).join();
  EXPECT_FALSE(flag.is_clear());
  flag.clear();
}

TEST(VelMemUtilsTest, BlocksOfAllSizesComeBackWhole) {
  constexpr wchar_t kName[] = L"vel_test_block";
  for (const std::size_t size : {0, 1, 4064, 4065, 16 << 20}) {
    SCOPED_TRACE(size);
    std::vector<BYTE> data(size);
    for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<BYTE>(i * 7);
    const ScopedHandle block(write_memory_block(data, kName));
    ASSERT_TRUE(block);
    std::vector<BYTE> read = {1, 2, 3};
    EXPECT_TRUE(read_memory_block(read, kName));
    EXPECT_EQ(read, data);
  }
  const test::LogCapture log;
  std::vector<BYTE> read;
  EXPECT_FALSE(read_memory_block(read, kName)) << "its handle is closed";
  EXPECT_FALSE(log.Contains(3, L""));
}

TEST(VelMemUtilsTest, ABlockShorterThanItSaysIsAFaultAndNoAllocation) {
  for (const std::uint32_t length : {5000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    const test::LogCapture log;
    const ScopedHandle block(write_memory_block({1, 2, 3}, nullptr));
    void* const view = MapViewOfFile(block.get(), FILE_MAP_WRITE, 0, 0, 0);
    *static_cast<std::uint32_t*>(view) = length;
    UnmapViewOfFile(view);
    std::vector<BYTE> read;
    EXPECT_FALSE(read_memory_block(read, block.get()));
    EXPECT_EQ(GetLastError(), 0xC0000005u);
    EXPECT_TRUE(read.empty());
    EXPECT_TRUE(log.Contains(3, L"VEL_LOG_WIN32_CALL: '.\\VelMemUtils'"));
  }
}

TEST(VelMemUtilsTest, AGlobalHandleHasTheBytesAndNoLock) {
  for (const UINT flags : {GMEM_MOVEABLE, GMEM_FIXED}) {
    const std::vector<BYTE> data = {1, 0, 3};
    const HGLOBAL memory = write_global_memory(data, flags);
    std::vector<BYTE> read;
    EXPECT_TRUE(read_global_memory(read, memory));
    read.resize(data.size());  // The system may round its size up.
    EXPECT_EQ(read, data);
    EXPECT_EQ(GlobalFlags(memory) & GMEM_LOCKCOUNT, 0u);
    GlobalFree(memory);
  }
}

}  // namespace
}  // namespace vel
