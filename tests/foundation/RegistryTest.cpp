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

// A key of the test's own, gone after it.
class RegistryTest : public testing::Test {
 protected:
  void TearDown() override { SHDeleteKeyW(HKEY_CURRENT_USER, _key.c_str()); }

  void write(const wchar_t* name, DWORD type, const void* data,
             std::size_t size) {
    const RegKeyHolder key = RegOpen(HKEY_CURRENT_USER, _key, true, 0);
    ASSERT_TRUE(key);
    // The native call stores texts without adding a terminator.
    UNICODE_STRING native = {};
    nt::RtlInitUnicodeString(&native, name);
    ASSERT_EQ(nt::ZwSetValueKey(key.get(), &native, 0, type, data,
                                static_cast<ULONG>(size)),
              nt::kStatusSuccess);
  }
  std::wstring read_string(const wchar_t* name) {
    return RegGetString(HKEY_CURRENT_USER, _key, name, 0);
  }
  std::vector<std::wstring> read_multi(const wchar_t* name) {
    return RegGetMultiString(HKEY_CURRENT_USER, _key, name, 0);
  }

  const std::wstring _key =
      FormatWide(L"Software\\Tessavane\\VELTest\\%u", GetCurrentProcessId());
};

TEST_F(RegistryTest, OpensAndCreatesKeys) {
  EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, _key, 0));
  EXPECT_FALSE(RegOpen(HKEY_CURRENT_USER, _key, false, 0));
  EXPECT_FALSE(RegOpen(nullptr, _key, true, 0));
  EXPECT_TRUE(RegOpen(HKEY_CURRENT_USER, _key, true, 1));
  EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, _key, 0));
  EXPECT_TRUE(RegOpenFullPath(L"HKEY_CURRENT_USER\\" + _key, 1));
  EXPECT_FALSE(RegOpenFullPath(L"hkey_current_user\\" + _key, 1));
  EXPECT_FALSE(
      RegKeyHolder(static_cast<HKEY>(INVALID_HANDLE_VALUE)).is_valid());
}

TEST_F(RegistryTest, LastHolderClosesTheKey) {
  RegKeyHolder first = RegOpen(HKEY_CURRENT_USER, _key, true, 0);
  const HKEY handle = first.get();
  RegKeyHolder second = first;
  first = {};
  EXPECT_EQ(RegSetValueExW(handle, L"v", 0, REG_SZ, nullptr, 0), ERROR_SUCCESS);
  second = {};
  EXPECT_EQ(RegSetValueExW(handle, L"v", 0, REG_SZ, nullptr, 0),
            ERROR_INVALID_HANDLE);
}

TEST_F(RegistryTest, ParsesRootKeys) {
  const struct {
    const wchar_t* path;
    HKEY root;
    const wchar_t* subkey;
  } rows[] = {
      {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER, L""},
      {L"HKEY_CURRENT_USER\\", HKEY_CURRENT_USER, L""},
      {L"HKEY_LOCAL_MACHINE\\a\\b", HKEY_LOCAL_MACHINE, L"a\\b"},
      {L"HKEY_CLASSES_ROOT\\.txt", HKEY_CLASSES_ROOT, L".txt"},
      {L"HKEY_USERS\\S-1", HKEY_USERS, L"S-1"},
      {L"hkey_current_user\\x", nullptr, L"x"},
      {L"HKCU\\x", nullptr, L"x"},
      {L"", nullptr, L""},
  };
  for (const auto& row : rows) {
    std::wstring subkey = L"old";
    EXPECT_EQ(RegParseRootKey(row.path, subkey), row.root);
    EXPECT_EQ(subkey, row.subkey);
  }
}

TEST_F(RegistryTest, KeepsTextsOfAnyLength) {
  // 259 characters and the terminator are the 520 bytes of the fixed buffer.
  for (const std::size_t length : {0u, 1u, 258u, 259u, 260u, 261u, 5000u}) {
    const std::wstring text(length, L'x');
    RegSetString(HKEY_CURRENT_USER, _key, L"text", text, 0);
    EXPECT_EQ(read_string(L"text"), text) << length;
  }
  EXPECT_EQ(RegValueType(_key, L"text"), static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(RegGetBinary(HKEY_CURRENT_USER, _key, L"text", 0).size(), 10002u);
  EXPECT_EQ(read_string(L"missing"), L"");
  EXPECT_EQ(RegValueType(_key, L"missing"), 0u);
}

TEST_F(RegistryTest, ReadsWhateverTypeAsText) {
  RegSetDword(HKEY_CURRENT_USER, _key, L"dword", 0x00420041, 0);
  EXPECT_EQ(read_string(L"dword"), L"AB");
  RegSetDword(HKEY_CURRENT_USER, _key, L"dword", 0x41, 0);
  EXPECT_EQ(read_string(L"dword"), L"A");
  write(L"inner", REG_SZ, L"a\0b", 8);
  EXPECT_EQ(read_string(L"inner"), L"a");
  // Past the fixed buffer the text is whole, but for one zero at its end.
  const std::wstring zeros = std::wstring(300, L'x') + L"\0y\0\0"s;
  write(L"long", REG_SZ, zeros.data(), zeros.size() * sizeof(wchar_t));
  EXPECT_EQ(read_string(L"long"), zeros.substr(0, zeros.size() - 1));
}

TEST_F(RegistryTest, ReadsMultiStrings) {
  using List = std::vector<std::wstring>;
  const std::wstring list = L"one\0\0two\0three\0\0cut"s;
  write(L"list", REG_MULTI_SZ, list.data(), list.size() * sizeof(wchar_t));
  EXPECT_EQ(read_multi(L"list"), (List{L"one", L"two", L"three"}));
  write(L"empty", REG_MULTI_SZ, nullptr, 0);
  EXPECT_EQ(read_multi(L"empty"), List{});
  RegSetString(HKEY_CURRENT_USER, _key, L"single", L"text", 0);
  EXPECT_EQ(read_multi(L"single"), List{L"text"});
  EXPECT_EQ(read_multi(L"missing"), List{});
}

TEST_F(RegistryTest, ReadsNumbers) {
  RegSetDword(HKEY_CURRENT_USER, _key, L"dword", 0xFFFFFFFE, 0);
  EXPECT_EQ(RegGetDword(HKEY_CURRENT_USER, _key, L"dword", 7, 0), 0xFFFFFFFEu);
  EXPECT_EQ(RegGetDword(HKEY_CURRENT_USER, _key, L"missing", 7, 0), 7u);
  RegSetQword(HKEY_CURRENT_USER, _key, L"qword", 0x123456789ABCDEFu);
  EXPECT_EQ(RegGetDword(HKEY_CURRENT_USER, _key, L"qword", 7, 0), 7u);
  write(L"text", REG_SZ, L"A", 4);
  EXPECT_EQ(RegGetDword(HKEY_CURRENT_USER, _key, L"text", 7, 0), 0x41u);
}

TEST_F(RegistryTest, ReadsTheOldFormOfAQword) {
  const auto read = [this](const wchar_t* name, const wchar_t* legacy) {
    return RegGetQword(HKEY_CURRENT_USER, _key, name, legacy);
  };
  EXPECT_EQ(read(L"new", L"old"), 0u);
  RegSetDword(HKEY_CURRENT_USER, _key, L"old", 0xFFFFFFFF, 0);
  EXPECT_EQ(read(L"new", L"old"), 0xFFFFFFFFu);
  EXPECT_EQ(read(L"new", nullptr), 0u);
  RegSetQword(HKEY_CURRENT_USER, _key, L"new", 0x123456789ABCDEFu);
  EXPECT_EQ(read(L"new", L"old"), 0x123456789ABCDEFu);
}

TEST_F(RegistryTest, KeepsBytesOfAnyLength) {
  for (const std::size_t size : {0u, 1u, 256u, 257u, 4000u}) {
    const Bytes bytes(size, 0xA5);
    RegSetBinary(HKEY_CURRENT_USER, _key, L"bytes", bytes);
    EXPECT_EQ(RegGetBinary(HKEY_CURRENT_USER, _key, L"bytes", 0), bytes);
    EXPECT_EQ(RegGetBinaryFullPath(L"HKEY_CURRENT_USER\\" + _key, L"bytes", 0),
              bytes);
  }
  EXPECT_EQ(RegGetBinaryFullPath(L"HKCU\\" + _key, L"bytes", 0), Bytes{});
}

TEST_F(RegistryTest, EnumeratesValuesLargerThanItsFirstBuffers) {
  const std::wstring name(200, L'n');
  const Bytes bytes(2000, 0x5A);
  RegSetBinary(HKEY_CURRENT_USER, _key, name, bytes);
  const RegKeyHolder key = RegOpen(HKEY_CURRENT_USER, _key, false, 0);

  std::wstring found;
  DWORD type = 0;
  Bytes data;
  ASSERT_TRUE(RegGetValueAt(key.get(), 0, found, type, data));
  EXPECT_EQ(found, name);
  EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
  EXPECT_EQ(data, bytes);
  EXPECT_FALSE(RegGetValueAt(key.get(), 1, found, type, data));
  EXPECT_EQ(found, name);
}

TEST_F(RegistryTest, NamesKeys) {
  // Longer than the first buffer.
  const std::wstring deep =
      _key + L"\\" + std::wstring(250, L'a') + L"\\" + std::wstring(250, L'b');
  const RegKeyHolder key = RegOpen(HKEY_CURRENT_USER, deep, true, 0);
  std::wstring name;
  ASSERT_EQ(RegGetKeyName(key.get(), name), 0);
  EXPECT_TRUE(StartsWithNoCase(name, L"\\REGISTRY\\USER\\"))
      << testing::PrintToString(name);
  EXPECT_TRUE(EndsWithNoCase(name, L"\\" + deep));
  EXPECT_LT(RegGetKeyName(nullptr, name), 0);
  EXPECT_TRUE(EndsWithNoCase(name, L"\\" + deep));
}

TEST_F(RegistryTest, RemovesValues) {
  const auto remove = [this] {
    return RegRemoveValue(HKEY_CURRENT_USER, _key, L"v", 0);
  };
  EXPECT_EQ(remove(), ERROR_FILE_NOT_FOUND);
  RegSetDword(HKEY_CURRENT_USER, _key, L"v", 1, 0);
  EXPECT_EQ(remove(), ERROR_SUCCESS);
  EXPECT_EQ(remove(), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, Tells32BitViewApart) {
  const std::wstring key =
      FormatWide(L"Software\\TessavaneVELTest%u", GetCurrentProcessId());
  RegSetDword(HKEY_LOCAL_MACHINE, key, L"v", 1, kRegView32);
  if (!RegKeyExists(HKEY_LOCAL_MACHINE, key, kRegView32)) {
    GTEST_SKIP() << "no write access to HKEY_LOCAL_MACHINE";
  }
  EXPECT_EQ(RegGetDword(HKEY_LOCAL_MACHINE, key, L"v", 0, kRegView32), 1u);
  EXPECT_FALSE(RegKeyExists(HKEY_LOCAL_MACHINE, key, kRegViewDefault));
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), KEY_WOW64_32KEY, 0);
}

TEST_F(RegistryTest, KeepsTheLastError) {
  SetLastError(1234);
  std::wstring name;
  RegGetString(HKEY_CURRENT_USER, _key + L"\\no", L"v", 0);
  RegSetDword(HKEY_CURRENT_USER, L"", L"v", 1, 0);
  RegRemoveValue(HKEY_CURRENT_USER, L"", L"v", 0);
  RegGetKeyName(nullptr, name);
  VolatileFlag(L"VELTestNoFlag", true).Clear();
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(VolatileFlag, IsSetUntilCleared) {
  VolatileFlag flag(FormatWide(L"VELTest%u", GetCurrentProcessId()), true);
  EXPECT_FALSE(flag.IsSet());
  flag.Set();
  flag.Set();
  EXPECT_TRUE(flag.IsSet());
  flag.Clear();
  EXPECT_FALSE(flag.IsSet());
  flag.Clear();
}

TEST(VolatileFlag, ReplacesAKeyThatWouldOutliveTheReboot) {
  const std::wstring name = FormatWide(L"VELTest%u", GetCurrentProcessId());
  const std::wstring path =
      std::wstring(kProductKeyPrefix) + L"Volatile\\" + name;
  RegSetDword(HKEY_CURRENT_USER, path + L"\\below", L"v", 1, 0);
  VolatileFlag flag(name, true);
  flag.Set();
  EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, path + L"\\below", 0));
  // Only below a volatile key an ordinary one is refused.
  EXPECT_FALSE(RegOpen(HKEY_CURRENT_USER, path + L"\\below", true, 0));
  flag.Clear();
}

TEST(Product, AsksTheDeploymentSettingAnew) {
  const RegKeyHolder key = RegOpen(HKEY_LOCAL_MACHINE, kProductKey, true, 0);
  if (!key) GTEST_SKIP() << "no write access to HKEY_LOCAL_MACHINE";
  constexpr wchar_t kName[] = L"CorporateDeployment";
  const std::uint32_t before =
      RegGetDword(HKEY_LOCAL_MACHINE, kProductKey, kName, 0, 0);
  RegSetDword(HKEY_LOCAL_MACHINE, kProductKey, kName, 1, 0);
  EXPECT_TRUE(is_corporate_deployment());
  RegRemoveValue(HKEY_LOCAL_MACHINE, kProductKey, kName, 0);
  EXPECT_FALSE(is_corporate_deployment());
  if (before != 0) {
    RegSetDword(HKEY_LOCAL_MACHINE, kProductKey, kName, before, 0);
  }
}

}  // namespace
}  // namespace vel
