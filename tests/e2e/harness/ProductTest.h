// What every end-to-end test begins with.
#ifndef VEL_TESTS_E2E_HARNESS_PRODUCTTEST_H_
#define VEL_TESTS_E2E_HARNESS_PRODUCTTEST_H_

#include <gtest/gtest.h>

#include "harness/GuiIpcClient.h"
#include "harness/Processes.h"
#include "harness/Product.h"
#include "support/ScopedVariable.h"
#include "support/Wait.h"

namespace vel::test {

// A scratch copy of the product, per-user data in a directory of the test's
// own, and the values that a start writes put back at the end.
class ProductTest : public testing::Test {
 protected:
  void SetUp() override {
    // The window and the mutex are the desktop's, not the test's.
    ASSERT_EQ(FindTray(), nullptr) << "another tray runs on this desktop";
  }

  // Waits for an event of a helper library.
  void ExpectEvent(const std::wstring& library, const std::wstring& text,
                   std::size_t times = 1) {
    const auto seen = [&] { return Count(product.Events(library), text); };
    EXPECT_TRUE(WaitUntil([&] { return seen() >= times; }))
        << std::string(text.begin(), text.end()) << " wasn't seen " << times
        << " times in" << Describe(product.Events(library));
  }
  void ExpectPluginEvent(const std::wstring& text, std::size_t times = 1) {
    ExpectEvent(L"Plugins\\test.dll", text, times);
  }
  void ExpectSessionEvent(const std::wstring& text, std::size_t times = 1) {
    ExpectEvent(L"VELUL.dll", text, times);
  }

  ScratchDirectory data;
  ScopedVariable app_data{L"APPDATA", data.path()};
  ScopedRegistryValue installed_version{
      HKEY_CURRENT_USER, L"Software\\Tessavane\\VEL", L"InstalledVersion"};
  Product product;
};

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HARNESS_PRODUCTTEST_H_
