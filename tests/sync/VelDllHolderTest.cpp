#include "sync/VelDllHolder.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "sync/ProcAddress.h"
#include "TestLibraries.h"

namespace vel {
namespace {

constexpr DWORD kBreakpoint = 0x80000003;

bool is_loaded(const std::wstring& path) {
  return GetModuleHandleW(path.c_str()) != nullptr;
}

bool goes_within_seconds(const std::wstring& path) {
  for (int i = 0; i < 1000 && is_loaded(path); ++i) Sleep(10);
  return !is_loaded(path);
}

// The controls of the refusing library; valid while it is loaded.
struct RefusingLibrary {
  explicit RefusingLibrary(HMODULE module)
      : answer_with(proc_address<void (*)(long)>(module, "AnswerWith")),
        times_asked(proc_address<long (*)()>(module, "TimesAsked")) {}
  void (*answer_with)(long);
  long (*times_asked)();
};

class VelDllHolderTest : public testing::Test {
 protected:
  const std::wstring _path = test::LibraryPath(L"refusing_library.dll");
};

TEST_F(VelDllHolderTest, FreesALibraryThatIsNotAskedWithTheLastUnload) {
  const std::wstring path = test::LibraryPath(L"plain_library.dll");
  VelDllHolder holder(path.c_str());
  const HMODULE module = holder.load();
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(module, holder.load());
  holder.unload();
  EXPECT_TRUE(is_loaded(path));
  holder.unload();
  EXPECT_FALSE(is_loaded(path));
}

TEST_F(VelDllHolderTest, AsksARefusingLibraryUntilItAgrees) {
  VelDllHolder holder(_path.c_str());
  const RefusingLibrary library(holder.load());
  holder.unload();
  while (library.times_asked() < 4) Sleep(10);
  EXPECT_TRUE(is_loaded(_path));
  library.answer_with(0);
  EXPECT_TRUE(goes_within_seconds(_path));
}

TEST_F(VelDllHolderTest, LoadEndsTheAsking) {
  VelDllHolder holder(_path.c_str());
  const RefusingLibrary library(holder.load());
  holder.unload();
  holder.load();
  library.answer_with(0);
  Sleep(200);
  EXPECT_TRUE(is_loaded(_path));
  const long asked = library.times_asked();
  Sleep(150);
  EXPECT_EQ(asked, library.times_asked());
  holder.unload();
  EXPECT_TRUE(goes_within_seconds(_path));
}

TEST_F(VelDllHolderTest, DestructorWaitsForTheLibraryToGo) {
  std::thread agree;
  {
    VelDllHolder holder(_path.c_str());
    const RefusingLibrary library(holder.load());
    holder.unload();
    agree = std::thread([library] {
      Sleep(200);
      library.answer_with(0);
    });
  }
  EXPECT_FALSE(is_loaded(_path));
  agree.join();
}

TEST_F(VelDllHolderTest, CountsAFailedLoadToo) {
  VelDllHolder holder(test::LibraryPath(L"missing.dll").c_str());
  SetLastError(0);
  EXPECT_EQ(nullptr, holder.load());
  EXPECT_NE(0u, GetLastError());
  holder.unload();
}

TEST_F(VelDllHolderTest, SurvivesUsersWhoComeAndGo) {
  VelDllHolder holder(_path.c_str());
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 60; ++i) {
        const RefusingLibrary library(holder.load());
        library.answer_with((i + t) % 3 == 0);
        holder.unload();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const RefusingLibrary library(holder.load());
  library.answer_with(0);
  holder.unload();
  EXPECT_TRUE(goes_within_seconds(_path));
}

VEL_CHILD_MAIN(UnloadsTooOften) {
  VelDllHolder holder(test::LibraryPath(L"plain_library.dll").c_str());
  holder.load();
  holder.unload();
  holder.unload();
  return 0;
}

VEL_CHILD_MAIN(DestroysAHolderInUse) {
  VelDllHolder holder(test::LibraryPath(L"plain_library.dll").c_str());
  holder.load();
  return 0;
}

TEST_F(VelDllHolderTest, TrapsOnMisuse) {
  for (const wchar_t* child : {L"UnloadsTooOften", L"DestroysAHolderInUse"}) {
    test::ChildProcess process(child);
    EXPECT_EQ(kBreakpoint, process.Wait()) << child;
  }
}

}  // namespace
}  // namespace vel
