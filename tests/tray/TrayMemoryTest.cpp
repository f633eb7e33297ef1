#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "tray/GuardedText.h"
#include "tray/LowAddress.h"

namespace vel {
namespace {

TEST(LowAddress, SurvivesASigned32BitCast) {
  std::vector<void*> blocks;
  for (int i = 0; i < 20; ++i) {
    void* const block = allocate_low(3000);
    std::memset(block, 0xA5, 3000);
    const auto address = reinterpret_cast<LONG_PTR>(block);
    EXPECT_EQ(static_cast<LONG_PTR>(static_cast<LONG>(address)), address);
    EXPECT_GT(address, 0);
    blocks.push_back(block);
  }
  for (void* const block : blocks) free_low(block);
  free_low(nullptr);
}

TEST(LowAddress, ThrowsWhenThereIsNoRoom) {
  EXPECT_THROW(allocate_low(0x7F000000), std::bad_alloc);
}

// One page that can be read. The rest of its 64 KiB has no memory.
class LastPage {
 public:
  LastPage()
      : _memory(static_cast<char*>(VirtualAlloc(
            nullptr, 0x1000, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))) {}
  ~LastPage() { VirtualFree(_memory, 0, MEM_RELEASE); }

  // Puts characters, without a terminator of its own, at the very end.
  const wchar_t* PutAtEnd(const std::wstring& text) {
    char* const place = _memory + 0x1000 - text.size() * sizeof(wchar_t);
    std::memcpy(place, text.data(), text.size() * sizeof(wchar_t));
    return reinterpret_cast<const wchar_t*>(place);
  }

 private:
  char* const _memory;
};

TEST(GuardedText, StopsAtTheTerminatorOrTheCount) {
  LastPage page;
  wchar_t target[8];
  std::memset(target, 0xFF, sizeof(target));
  EXPECT_TRUE(copy_text_guarded(target, 8, page.PutAtEnd({L"abc\0", 4})));
  EXPECT_EQ(std::wstring(target, 8), std::wstring(L"abc\0\0\0\0\0", 8));
  EXPECT_TRUE(copy_text_guarded(target, 8, page.PutAtEnd(L"12345678")));
  EXPECT_EQ(std::wstring(target, 8), L"12345678");
}

TEST(GuardedText, ReportsAWrongAddress) {
  wchar_t target[8];
  EXPECT_FALSE(copy_text_guarded(target, 8, nullptr));
  EXPECT_FALSE(copy_text_guarded(target, 8, reinterpret_cast<wchar_t*>(8)));
}

TEST(GuardedText, ReportsATextThatRunsOffItsPage) {
  LastPage page;
  const wchar_t* const text = page.PutAtEnd(L"1234567");
  wchar_t target[8];
  if (ReadProcessMemory(GetCurrentProcess(), text + 7, target, 2, nullptr)) {
    GTEST_SKIP() << "this system reads pages that aren't there (Wine)";
  }
  EXPECT_FALSE(copy_text_guarded(target, 8, text));
  EXPECT_EQ(std::wstring(target, 7), L"1234567");
}

}  // namespace
}  // namespace vel
