#include "foundation/Registry.h"

#include <gtest/gtest.h>
#include <shlwapi.h>

#include <string>

#include "foundation/Product.h"
#include "foundation/Text.h"
#include "foundation/VolatileFlag.h"
#include "sync/NtApi.h"

namespace vel {
namespace {

using namespace std::string_literals;
using Bytes = std::vector<BYTE>;

const HKEY kUser = HKEY_CURRENT_USER;

// A key of the test's own, gone after it.
class RegistryTest : public testing::Test {
 protected:
  void TearDown() override { SHDeleteKeyW(kUser, _key.c_str()); }

  // Stores a text as it is, without adding a terminator.
  void write(const wchar_t* name, DWORD type, const std::wstring& text) {
    const RegKeyHolder key = RegOpen(kUser, _key, true, 0);
    UNICODE_STRING native = {};
    nt::RtlInitUnicodeString(&native, name);
    ASSERT_EQ(nt::ZwSetValueKey(key.get(), &native, 0, type, text.data(),
                                static_cast<ULONG>(text.size() * 2)),
              nt::kStatusSuccess);
  }

  const std::wstring _name = FormatWide(L"VELTest%u", GetCurrentProcessId());
  const std::wstring _key = L"Software\\Tessavane\\" + _name;
};

TEST_F(RegistryTest, KeepsTextsAndBytesOfAnyLength) {
  // 259 characters and the terminator are the 520 bytes of the fixed buffer.
  for (const std::size_t length : {0u, 1u, 258u, 259u, 260u, 261u, 5000u}) {
    const std::wstring text(length, L'x');
    RegSetString(kUser, _key, L"text", text, 0);
    EXPECT_EQ(RegGetString(kUser, _key, L"text", 0), text) << length;
    const Bytes bytes(length, 0xA5);
    RegSetBinary(kUser, _key, L"bytes", bytes);
    EXPECT_EQ(RegGetBinary(kUser, _key, L"bytes", 0), bytes) << length;
  }
  EXPECT_EQ(RegGetBinary(kUser, _key, L"text", 0).size(), 10002u);
}

TEST_F(RegistryTest, ReadsWhateverTypeAsText) {
  RegSetDword(kUser, _key, L"dword", 0x00420041, 0);
  EXPECT_EQ(RegGetString(kUser, _key, L"dword", 0), L"AB");
  write(L"inner", REG_SZ, L"a\0b"s);
  EXPECT_EQ(RegGetString(kUser, _key, L"inner", 0), L"a");
  // Past the fixed buffer the text is whole, but for one zero at its end.
  const std::wstring zeros = std::wstring(300, L'x') + L"\0y\0"s;
  write(L"long", REG_SZ, zeros + L'\0');
  EXPECT_EQ(RegGetString(kUser, _key, L"long", 0), zeros);
}

TEST_F(RegistryTest, ReadsListsAndPathsWithTheirRoot) {
  using Texts = std::vector<std::wstring>;
  write(L"list", REG_MULTI_SZ, L"one\0\0two\0\0behind"s);
  EXPECT_EQ(RegGetMultiString(kUser, _key, L"list", 0),
            (Texts{L"one", L"two"}));
  const Bytes bytes = {1, 0, 3};
  RegSetBinary(kUser, _key, L"bytes", bytes);
  const std::wstring path = L"HKEY_CURRENT_USER\\" + _key;
  EXPECT_EQ(RegGetBinaryFullPath(path, L"bytes", 0), bytes);
  EXPECT_FALSE(RegOpenFullPath(L"hkey_current_user\\" + _key, 0));
  EXPECT_TRUE(RegOpenFullPath(L"HKEY_CURRENT_USER", 0));
}

// Names and data are larger than the first buffers.
TEST_F(RegistryTest, EnumeratesAndNames) {
  const std::wstring name(200, L'n');
  const std::wstring deep = _key + L"\\" + std::wstring(250, L'a');
  const Bytes bytes(2000, 0x5A);
  RegSetBinary(kUser, deep, name, bytes);
  const RegKeyHolder key = RegOpen(kUser, deep, false, 0);
  std::wstring found;
  DWORD type = 0;
  Bytes data;
  ASSERT_TRUE(RegGetValueAt(key.get(), 0, found, type, data));
  EXPECT_EQ(found, name);
  EXPECT_EQ(type, DWORD{REG_BINARY});
  EXPECT_EQ(data, bytes);
  EXPECT_FALSE(RegGetValueAt(key.get(), 1, found, type, data));
  ASSERT_EQ(RegGetKeyName(key.get(), found), 0);
  EXPECT_TRUE(StartsWithNoCase(found, L"\\REGISTRY\\USER\\"));
  EXPECT_TRUE(EndsWithNoCase(found, L"\\" + deep));
  EXPECT_LT(RegGetKeyName(nullptr, found), 0);
}

TEST_F(RegistryTest, Tells32BitViewApart) {
  const HKEY kMachine = HKEY_LOCAL_MACHINE;
  const std::wstring key = L"Software\\Tessavane" + _name;
  RegSetDword(kMachine, key, L"v", 1, kRegView32);
  if (!RegKeyExists(kMachine, key, kRegView32)) {
    GTEST_SKIP() << "no write access to HKEY_LOCAL_MACHINE";
  }
  EXPECT_EQ(RegGetDword(kMachine, key, L"v", 0, kRegView32), 1u);
  EXPECT_FALSE(RegKeyExists(kMachine, key, kRegViewDefault));
  RegDeleteKeyExW(kMachine, key.c_str(), KEY_WOW64_32KEY, 0);
}

TEST_F(RegistryTest, FailuresKeepTheLastError) {
  SetLastError(1234);
  EXPECT_EQ(RegGetString(kUser, _key + L"\\no", L"v", 0), L"");
  RegSetDword(kUser, L"", L"v", 1, 0);
  EXPECT_EQ(RegRemoveValue(kUser, _key, L"v", 0), ERROR_FILE_NOT_FOUND);
  VolatileFlag(L"VELTestNoFlag", true).Clear();
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST_F(RegistryTest, AVolatileFlagReplacesAKeyThatWouldOutliveTheReboot) {
  const std::wstring below =
      std::wstring(kProductKeyPrefix) + L"Volatile\\" + _name + L"\\below";
  RegSetDword(kUser, below, L"v", 1, 0);
  VolatileFlag flag(_name, true);
  flag.Set();
  EXPECT_TRUE(flag.IsSet());
  EXPECT_FALSE(RegKeyExists(kUser, below, 0));
  // Only below a volatile key an ordinary one is refused.
  EXPECT_FALSE(RegOpen(kUser, below, true, 0));
  flag.Clear();
  EXPECT_FALSE(flag.IsSet());
}

}  // namespace
}  // namespace vel
