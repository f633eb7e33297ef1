// What the first start of another version finds and leaves.
#include "harness/ProductTest.h"

#include "ProductConfig.h"

namespace vel::test {
namespace {

class VersionTest : public ProductTest {
 protected:
  VersionTest() { installed_version.Remove(); }

  std::wstring InstalledVersion() const {
    wchar_t text[64] = {};
    DWORD size = sizeof text;
    RegGetValueW(HKEY_CURRENT_USER, L"Software\\Tessavane\\VEL",
                 L"InstalledVersion", RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
  }

  const std::wstring own = L"Tessavane\\VEL\\";
};

TEST_F(VersionTest, AnotherVersionIsSweptAwayAndFollowedUpAtTheEnd) {
  data.Write(own + L".version", "0.9");
  const std::wstring left = data.Write(own + L"cache\\left", "x");
  const std::wstring older = data.Write(L"TC\\left", "x");
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_FALSE(FileExists(left));
  EXPECT_FALSE(FileExists(older));
  EXPECT_EQ(InstalledVersion(), L"" VEL_VERSION_TEXT);
  EXPECT_EQ(tray.Shutdown(), 0u);
  EXPECT_EQ(data.Read(own + L".version"), VEL_VERSION_TEXT);
}

TEST_F(VersionTest, AGuestLeavesTheUsersVersionAlone) {
  Tray tray(product, L"/guest");
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(InstalledVersion(), L"");
  EXPECT_EQ(tray.Shutdown(), 0u);
}

}  // namespace
}  // namespace vel::test
