#include "sessions/UserLibrary.h"

#include <gtest/gtest.h>

#include "SessionRig.h"
#include "foundation/Environment.h"
#include "foundation/Registry.h"
#include "sessions/VelSessionHolder.h"

namespace vel {
namespace {

constexpr wchar_t kKey[] = L"Software\\Tessavane\\VEL\\VELULMinModes";
constexpr wchar_t kMode[] = L"VelTestMode";

class UserLibraryTest : public testing::Test {
 protected:
  void SetUp() override { TearDown(); }
  void TearDown() override {
    RegRemoveValue(HKEY_CURRENT_USER, kKey, kMode, kRegViewDefault);
    RegRemoveValue(HKEY_LOCAL_MACHINE, kKey, kMode, kRegViewDefault);
    set_env(L"VELCFG", L"", true);
  }
  static void set_mode(HKEY root, std::uint32_t value) {
    RegSetDword(root, kKey, kMode, value, kRegViewDefault);
  }
};

TEST_F(UserLibraryTest, TheUsersTableWinsOverTheMachines) {
  EXPECT_FALSE(is_min_mode(kMode));
  set_mode(HKEY_LOCAL_MACHINE, 1);
  EXPECT_TRUE(is_min_mode(kMode));
  set_mode(HKEY_CURRENT_USER, 0);
  EXPECT_FALSE(is_min_mode(kMode));
  RegSetString(HKEY_CURRENT_USER, kKey, kMode, L"0", kRegViewDefault);
  EXPECT_TRUE(is_min_mode(kMode));
  set_mode(HKEY_CURRENT_USER, 2);
  set_mode(HKEY_LOCAL_MACHINE, 0);
  EXPECT_TRUE(is_min_mode(kMode));
}

TEST_F(UserLibraryTest, NullAsksForTheProcessesOwnConfiguration) {
  set_mode(HKEY_CURRENT_USER, 1);
  EXPECT_FALSE(is_min_mode(nullptr));
  set_env(L"VELCFG", kMode, true);
  EXPECT_TRUE(is_min_mode(nullptr));
}

TEST_F(UserLibraryTest, EachConfigurationIsServedByItsBuild) {
  set_mode(HKEY_CURRENT_USER, 1);
  test::SessionRig rig;
  for (const auto& [config, created] :
       {std::pair(kMode, L"create \\VELUL_MIN\\VELUL.dll"),
        std::pair(L"Normal", L"create \\VELUL.dll")}) {
    rig.events.take();
    VelSessionHolder holder(nullptr, config);
    holder.make_active();
    EXPECT_EQ(created, rig.events.take().front());
  }
  EXPECT_EQ(nullptr,
            GetModuleHandleW(rig.directory.File(L"VELUL.dll").c_str()));
}

TEST_F(UserLibraryTest, AMissingLibraryGivesNull) {
  test::ScratchDirectory empty;
  set_env(L"VELDIR", empty.path(), true);
  EXPECT_EQ(nullptr, load_vel_ul());
  EXPECT_EQ(static_cast<DWORD>(ERROR_MOD_NOT_FOUND), GetLastError());
  EXPECT_EQ(nullptr, load_vel_ul_min());
}

}  // namespace
}  // namespace vel
