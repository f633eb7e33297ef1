#include "security/Descriptors.h"

#include <aclapi.h>
#include <gtest/gtest.h>

#include <cstring>

#include "security/AccountSids.h"
#include "security/AclText.h"
#include "security/Acls.h"
#include "security/LowLabel.h"
#include "security/ObjectSecurity.h"
#include "security/Tokens.h"
#include "security/WellKnownSids.h"

namespace vel {
namespace {

using Texts = std::vector<std::wstring>;

constexpr wchar_t kLowLabelEntry[] = L"11 0 1 S-1-16-4096";

// `entry` stands for "allow GENERIC_ALL".
Texts UserEntries(const std::wstring& entry) {
  return {entry + test::SidText(LookupSidCurrentUser()), entry + L"S-1-5-4",
          entry + L"S-1-2-0", entry + L"S-1-5-32-544"};
}

template <class Get>
void ExpectKept(const char* name, Get get) {
  SetLastError(4711);
  const void* const first = get();
  EXPECT_EQ(first, get()) << name;
  EXPECT_NE(first, nullptr) << name;
  EXPECT_EQ(GetLastError(), 4711u) << name;
}

TEST(DescriptorsTest, AreMadeOnceAndKeepTheLastError) {
  ExpectKept("user low", &GetSecurityDescriptorUserLow);
  ExpectKept("user", &GetSecurityDescriptorUser);
  ExpectKept("system", &GetSecurityDescriptorSystem);
  ExpectKept("list of the user", &DaclUser);
  ExpectKept("list of the system", &DaclSystem);
  ExpectKept("current user", &LookupSidCurrentUser);
  ExpectKept("restricted", &LookupSidRestricted);
  EXPECT_EQ(test::SidText(LookupSidRestricted()), L"S-1-5-12");
}

TEST(DescriptorsTest, HoldTheListsAndTheLabel) {
  struct {
    PSECURITY_DESCRIPTOR descriptor;
    WORD control;
    Texts dacl;
    Texts sacl;
  } const rows[] = {
      {GetSecurityDescriptorUserLow(),
       SE_DACL_PRESENT | SE_SACL_PRESENT,
       UserEntries(L"0 0 10000000 "),
       {kLowLabelEntry}},
      {GetSecurityDescriptorUser(),
       SE_DACL_PRESENT,
       UserEntries(L"0 0 10000000 "),
       {}},
      {GetSecurityDescriptorSystem(),
       SE_DACL_PRESENT,
       {L"0 0 10000000 S-1-5-18", L"0 0 10000000 S-1-5-32-544"},
       {}},
  };
  for (const auto& row : rows) {
    ASSERT_NE(row.descriptor, nullptr);
    const auto& absolute =
        *static_cast<const SECURITY_DESCRIPTOR*>(row.descriptor);
    EXPECT_EQ(absolute.Revision, 1);
    EXPECT_EQ(absolute.Control, row.control);
    EXPECT_EQ(absolute.Owner, nullptr);
    EXPECT_EQ(absolute.Group, nullptr);
    EXPECT_EQ(test::AclText(absolute.Dacl), row.dacl);
    EXPECT_EQ(test::AclText(absolute.Sacl), row.sacl);
  }
}

TEST(DescriptorsTest, TheLabelHasItsBytes) {
  constexpr BYTE kBytes[] = {
      1, 0, 0x10, 0x80, 0, 0, 0,    0, 0, 0, 0, 0,  0x14, 0,    0,    0,
      0, 0, 0,    0,    2, 0, 0x1C, 0, 1, 0, 0, 0,  0x11, 0,    0x14, 0,
      1, 0, 0,    0,    1, 1, 0,    0, 0, 0, 0, 16, 0,    0x10, 0,    0};
  ASSERT_NE(GetLowLabelDescriptor(), nullptr);
  EXPECT_EQ(std::memcmp(GetLowLabelDescriptor(), kBytes, sizeof kBytes), 0);
}

TEST(DescriptorsTest, ReachAPipeWithListAndLabel) {
  SECURITY_ATTRIBUTES attributes = {sizeof attributes,
                                    GetSecurityDescriptorUserLow(), FALSE};
  const std::wstring name =
      FormatWide(L"\\\\.\\pipe\\vel_test_%u", GetCurrentProcessId());
  const ScopedFileHandle pipe(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX,
                                               PIPE_TYPE_MESSAGE, 1, 64, 64, 0,
                                               &attributes));
  ASSERT_TRUE(pipe);
  ACL* dacl = nullptr;
  ACL* sacl = nullptr;
  ScopedDescriptor descriptor;
  ASSERT_EQ(
      GetSecurityInfo(pipe.get(), SE_KERNEL_OBJECT,
                      DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                      nullptr, nullptr, &dacl, &sacl, descriptor.put()),
      DWORD{ERROR_SUCCESS});
  // The generic right becomes a file's own, if the system maps it at all.
  const Texts entries = test::AclText(dacl);
  EXPECT_TRUE(entries == UserEntries(L"0 0 1f01ff ") ||
              entries == UserEntries(L"0 0 10000000 "));
  EXPECT_EQ(test::AclText(sacl), Texts{kLowLabelEntry});
}

TEST(ObjectSecurityTest, SetsListsAndKnowsTheOwner) {
  SECURITY_ATTRIBUTES attributes = {sizeof attributes,
                                    GetSecurityDescriptorUser(), FALSE};
  const ScopedHandle event(CreateEventW(&attributes, TRUE, FALSE, nullptr));
  const ScopedHandle token = OpenCurrentToken();
  EXPECT_TRUE(IsOwnedByToken(event.get(), token.get()));
  const auto dacl_text = [&event] {
    ACL* dacl = nullptr;
    ScopedDescriptor descriptor;
    GetSecurityInfo(event.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION,
                    nullptr, nullptr, &dacl, nullptr, descriptor.put());
    return test::AclText(dacl);
  };
  SetObjectSecurityEveryone(event.get(), SYNCHRONIZE);
  EXPECT_EQ(dacl_text(), Texts{L"0 0 100000 S-1-1-0"});
  EXPECT_TRUE(SetObjectDefaultDacl(event.get(), nullptr));
  EXPECT_NE(dacl_text(), Texts{L"0 0 100000 S-1-1-0"});

  SECURITY_DESCRIPTOR foreign = {};
  InitializeSecurityDescriptor(&foreign, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorOwner(&foreign, LookupSidInteractive(), FALSE);
  if (!SetKernelObjectSecurity(event.get(), OWNER_SECURITY_INFORMATION,
                               &foreign)) {
    GTEST_SKIP() << "can't give an object away";
  }
  EXPECT_FALSE(IsOwnedByToken(event.get(), token.get()));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_OWNER});
}

}  // namespace
}  // namespace vel
