#include "sync/ScopedHandle.h"

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "sync/HandleCount.h"

namespace vel {
namespace {

HANDLE NewEvent() {
  return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

bool IsOpen(HANDLE handle) {
  DWORD flags;
  return GetHandleInformation(handle, &flags) != 0;
}

TEST(ScopedHandle, ClosesOnceAndKeepsTheLastError) {
  const std::size_t before = test::HandleCount();
  {
    ScopedHandle first(NewEvent());
    ScopedHandle second(NewEvent());
    const HANDLE kept = second.get();
    first = std::move(second);
    EXPECT_EQ(first.get(), kept);
    EXPECT_FALSE(second);
    *second.put() = NewEvent();
    EXPECT_TRUE(second);
    second.reset(NewEvent());
    CloseHandle(second.release());
    EXPECT_FALSE(second);
    SetLastError(0x1234);
  }
  EXPECT_EQ(GetLastError(), 0x1234u);
  EXPECT_EQ(test::HandleCount(), before);
}

TEST(ScopedHandle, EachKindHasItsOwnEmptyValue) {
  EXPECT_EQ(ScopedHandle().get(), nullptr);
  EXPECT_EQ(ScopedFileHandle().get(), INVALID_HANDLE_VALUE);
  EXPECT_FALSE(ScopedFileHandle(INVALID_HANDLE_VALUE));
}

TEST(SharedHandle, TheLastCopyCloses) {
  const HANDLE event = NewEvent();
  SharedHandle first(event);
  SharedHandle second = first;
  first.reset();
  EXPECT_EQ(first.get(), nullptr);
  EXPECT_TRUE(IsOpen(event));
  second = SharedHandle();
  EXPECT_FALSE(IsOpen(event));
  EXPECT_FALSE(SharedHandle(nullptr));
}

VEL_CHILD_MAIN(CloseBehindTheOwnersBack) {
  const ScopedHandle owner(NewEvent());
  CloseHandle(owner.get());
  return 0;
}

TEST(ScopedHandle, AForeignCloseTraps) {
  test::ChildProcess child(L"CloseBehindTheOwnersBack");
  EXPECT_EQ(child.Wait(), 0x80000003);
}

}  // namespace
}  // namespace vel
