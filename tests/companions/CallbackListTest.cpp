#include "session/CallbackList.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace velul {
namespace {

class TestCallback final : public IVelSessionCallback {
 public:
  void reserved_1() override {}
  void MgrShutdown(std::uint32_t status) override {
    statuses.push_back(status);
    if (entered) SetEvent(entered);
    if (go_on) WaitForSingleObject(go_on, INFINITE);
    if (removes_itself_from) removes_itself_from->remove(this);
    finished = true;
  }
  void reserved_3() override {}
  void reserved_4() override {}
  bool reserved_5() override { return false; }
  std::uintptr_t reserved_6() override { return 0; }
  std::uintptr_t reserved_7() override { return 0; }

  std::vector<std::uint32_t> statuses;
  HANDLE entered = nullptr;
  HANDLE go_on = nullptr;
  CallbackList* removes_itself_from = nullptr;
  std::atomic<bool> finished = false;
};

TEST(CallbackList, TellsThoseBetweenAddAndRemove) {
  CallbackList list;
  TestCallback first;
  TestCallback second;
  list.add(&first);
  list.notify(1);
  list.add(&second);
  list.notify(2);
  list.remove(&first);
  list.notify(3);
  EXPECT_EQ(first.statuses, (std::vector<std::uint32_t>{1, 2}));
  EXPECT_EQ(second.statuses, (std::vector<std::uint32_t>{2, 3}));
}

TEST(CallbackList, RemovingWaitsForTheCallThatIsUnderWay) {
  CallbackList list;
  TestCallback callback;
  callback.entered = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  callback.go_on = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  list.add(&callback);
  std::thread caller([&] { list.notify(7); });
  WaitForSingleObject(callback.entered, INFINITE);
  std::thread remover([&] {
    list.remove(&callback);
    EXPECT_TRUE(callback.finished);
  });
  // Time for a remover that doesn't wait to get through.
  Sleep(50);
  SetEvent(callback.go_on);
  caller.join();
  remover.join();
  CloseHandle(callback.entered);
  CloseHandle(callback.go_on);
}

TEST(CallbackList, ACallbackMayRemoveItself) {
  CallbackList list;
  TestCallback callback;
  callback.removes_itself_from = &list;
  list.add(&callback);
  list.notify(1);
  list.notify(2);
  EXPECT_EQ(callback.statuses, std::vector<std::uint32_t>{1});
}

}  // namespace
}  // namespace velul
