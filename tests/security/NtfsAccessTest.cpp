#include "security/NtfsAccess.h"

#include <aclapi.h>
#include <gtest/gtest.h>

#include "security/AclText.h"
#include "security/Acls.h"
#include "security/WellKnownSids.h"
#include "support/LogCapture.h"
#include "support/ScopedVariable.h"

namespace vel {
namespace {

constexpr DWORD kMask = 0x80100000;

struct ListBlock {
  explicit ListBlock(DWORD size = sizeof bytes, BYTE revision = ACL_REVISION) {
    InitializeAcl(acl(), size, ACL_REVISION);
    acl()->AclRevision = revision;
  }
  ACL* acl() { return reinterpret_cast<ACL*>(bytes); }

  alignas(ACL) BYTE bytes[512] = {};
};

TEST(EnsureSidInDaclTest, AddsOnlyWhatIsMissing) {
  const PSID sid = LookupSidRestricted();
  struct {
    const char* name;
    DWORD present;  // mask of the entry that is there; 0 for none
    bool deny;
    BYTE revision;
    DWORD room;
    bool added;
  } const rows[] = {
      {"empty list", 0, false, ACL_REVISION, 512, true},
      {"equal entry", kMask, false, ACL_REVISION, 512, false},
      {"another mask", 0x10100000, false, ACL_REVISION, 512, true},
      {"denied", kMask, true, ACL_REVISION, 512, true},
      {"other revision", 0, false, ACL_REVISION_DS, 512, false},
      {"no room for a copy", 0x10100000, false, ACL_REVISION, 16, false},
      {"no room for the entry", 0, false, ACL_REVISION, 16, false},
  };
  for (const auto& row : rows) {
    ListBlock old_list;
    if (row.deny) {
      AddAccessDeniedAce(old_list.acl(), ACL_REVISION, row.present, sid);
    } else if (row.present != 0) {
      AddAccessAllowedAce(old_list.acl(), ACL_REVISION, row.present, sid);
    }
    AclFixSize(old_list.acl());
    ListBlock new_list(row.room, row.revision);
    EXPECT_EQ(
        EnsureSidInDacl(old_list.acl(), new_list.acl(), row.room, sid, kMask),
        row.added)
        << row.name;
    if (!row.added) continue;
    auto expected = test::AclText(old_list.acl());
    expected.push_back(L"0 3 80100000 S-1-5-12");
    EXPECT_EQ(test::AclText(new_list.acl()), expected) << row.name;
  }
}

TEST(AclUsedSizeTest, CountsHeaderAndEntries) {
  EXPECT_EQ(AclUsedSize(nullptr), 0);
  AclFixSize(nullptr);
  ListBlock list;
  EXPECT_EQ(AclUsedSize(list.acl()), 8);
  AddAccessAllowedAce(list.acl(), ACL_REVISION, 1, LookupSidRestricted());
  AclFixSize(list.acl());
  EXPECT_EQ(list.acl()->AclSize, 8 + 8 + 12);
}

class NtfsAccessTest : public ::testing::Test {
 protected:
  size_t CountOf(std::wstring_view text) const {
    size_t count = 0;
    for (const auto& line : _log.Lines()) count += line.text.find(text) == 0;
    return count;
  }
  void Grant(DWORD mask, bool force) const {
    SetSidAccessOnPath(L"%VEL_GRANT%\\in", LookupSidRestricted(), mask, force);
  }

  const test::LogCapture _log{1};
  const test::ScratchDirectory _scratch;
  const test::ScopedVariable _variable{L"VEL_GRANT", _scratch.File(L"a\\b")};
  const std::wstring _directory = _scratch.File(L"a\\b\\in");
};

TEST_F(NtfsAccessTest, MarkerKeepsTheGrantFromBeingMadeTwice) {
  Grant(kMask, false);  // makes three levels of directories
  EXPECT_TRUE(test::FileExists(_directory + L"\\vel_acc_80100000"));
  EXPECT_EQ(CountOf(L"EnsureSidInDacl: will add mask=0x80100000"), 1u);
  Grant(kMask, false);
  EXPECT_EQ(CountOf(L"EnsureSidInDacl"), 1u);
  EXPECT_TRUE(_log.Contains(
      1,
      L"SetSidAccessOnPath('%VEL_GRANT%\\in', 0x80100000) - marker already "
      L"exists"));
  Grant(0x10100000, false);  // has a marker of its own
  EXPECT_TRUE(test::FileExists(_directory + L"\\vel_acc_10100000"));
  EXPECT_EQ(CountOf(L"EnsureSidInDacl: will add mask=0x10100000"), 1u);
}

TEST_F(NtfsAccessTest, ForcedRunMeetsTheEqualEntryAndAddsNothing) {
  Grant(kMask, false);
  const ScopedFileHandle directory(
      CreateFileW(_directory.c_str(), READ_CONTROL | WRITE_DAC, 7, nullptr,
                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  const auto entries = [&directory] {
    ACL* dacl = nullptr;
    ScopedDescriptor descriptor;
    GetSecurityInfo(directory.get(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                    nullptr, nullptr, &dacl, nullptr, descriptor.put());
    return test::AclText(dacl);
  };
  const auto granted = entries();
  size_t kept = 0;
  for (const auto& entry : granted) kept += entry.ends_with(L" S-1-5-12");
  if (kept == 0) GTEST_SKIP() << "the file system doesn't keep entries";
  Grant(kMask, true);
  EXPECT_EQ(entries(), granted);
}

// A pipe stands for the file: it has the list that it was given everywhere.
DWORD GrantOnPipe(ACL* dacl, DWORD mask) {
  SECURITY_DESCRIPTOR descriptor = {};
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, TRUE, dacl, FALSE);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, &descriptor, FALSE};
  const ScopedFileHandle pipe(CreateNamedPipeW(
      FormatWide(L"\\\\.\\pipe\\vel_grant_%u", GetCurrentProcessId()).c_str(),
      PIPE_ACCESS_DUPLEX | WRITE_DAC, 0, 1, 64, 64, 0, &attributes));
  SetLastError(0);
  return SetSidAccessOnHandle(pipe.get(), LookupSidRestricted(), mask);
}

TEST(SetSidAccessOnHandleTest, SaysWhyNothingWasAdded) {
  ListBlock list;
  AddAccessAllowedAce(list.acl(), ACL_REVISION, SYNCHRONIZE,
                      LookupSidRestricted());
  AddAccessAllowedAce(list.acl(), ACL_REVISION, FILE_ALL_ACCESS,
                      LookupSidEveryone());
  EXPECT_EQ(GrantOnPipe(list.acl(), SYNCHRONIZE), kGrantNothingAdded);
  EXPECT_EQ(GrantOnPipe(nullptr, SYNCHRONIZE),
            DWORD{ERROR_NO_SECURITY_ON_OBJECT});
  EXPECT_EQ(SetSidAccessOnHandle(nullptr, LookupSidRestricted(), 1),
            DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(NtfsAccessTest, FailuresAreLoggedAndLeaveAMarkerWhereTheyCan) {
  SetSidAccessOnPath(L"%VEL_NO_SUCH%\\x", LookupSidRestricted(), 1, true);
  EXPECT_TRUE(_log.Contains(
      2,
      L"SetSidAccessOnPath'%VEL_NO_SUCH%\\x', 0x1) - failed to expand path"));
  SetSidAccessOnPath(L"Q:\\no\\drive", LookupSidRestricted(), 1, false);
  EXPECT_TRUE(
      _log.Contains(2, L"SetSidAccessOnExpandedPath('Q:\\no\\drive') rv=0x"));
  EXPECT_TRUE(_log.Contains(
      1,
      L"SetSidAccessOnPath('Q:\\no\\drive', 0x1) - failed to create marker "
      L"'Q:\\no\\drive\\vel_acc_1' - le=3"));
}

}  // namespace
}  // namespace vel
