#include <aclapi.h>
#include <gtest/gtest.h>
#include <process.h>
#include <sddl.h>

#include <optional>
#include <vector>

#include "foundation/LongPath.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"
#include "security/AccountSids.h"
#include "security/Acls.h"
#include "security/ClientRights.h"
#include "security/Descriptors.h"
#include "security/Impersonator.h"
#include "security/LocalMemory.h"
#include "security/NtfsAccess.h"
#include "security/ObjectSecurity.h"
#include "security/RestrictedAccount.h"
#include "security/SessionObjectName.h"
#include "security/Tokens.h"
#include "security/VelUtilsSecurity.h"
#include "security/WellKnownSids.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScopedVariable.h"

namespace vel {
namespace {

const HKEY kUser = HKEY_CURRENT_USER;
const HKEY kMachine = HKEY_LOCAL_MACHINE;
const auto kValue = kRestrictedGroupSidValue;
constexpr wchar_t kLowLabel[] = L"11 1 S-1-16-4096;";

std::wstring SidText(PSID sid) {
  ScopedSidText text;
  ConvertSidToStringSidW(sid, text.put());
  return text.get();
}

// "type mask SID;" of each entry.
std::wstring AclText(ACL* acl) {
  std::wstring text;
  ACCESS_ALLOWED_ACE* entry = nullptr;
  for (DWORD i = 0; acl != nullptr && i < acl->AceCount; ++i) {
    GetAce(acl, i, reinterpret_cast<void**>(&entry));
    text += FormatWide(L"%x %x ", entry->Header.AceType, entry->Mask) +
            SidText(&entry->SidStart) + L";";
  }
  return text;
}

TEST(DescriptorsTest, HoldTheListsAndTheLabel) {
  const std::wstring user_list =
      L"0 10000000 " + SidText(LookupSidCurrentUser()) +
      L";0 10000000 S-1-5-4;0 10000000 S-1-2-0;0 10000000 S-1-5-32-544;";
  struct {
    PSECURITY_DESCRIPTOR descriptor;
    WORD control;
    std::wstring dacl, sacl;
  } const rows[] = {
      {GetSecurityDescriptorUserLow(), 0x14, user_list, kLowLabel},
      {GetSecurityDescriptorUser(), 0x4, user_list, L""},
      {GetSecurityDescriptorSystem(), 0x4,
       L"0 10000000 S-1-5-18;0 10000000 S-1-5-32-544;", L""}};
  for (const auto& row : rows) {
    const auto* made = static_cast<const SECURITY_DESCRIPTOR*>(row.descriptor);
    EXPECT_EQ(made->Control, row.control);
    EXPECT_EQ(AclText(made->Dacl), row.dacl);
    EXPECT_EQ(AclText(made->Sacl), row.sacl);
  }
}

constexpr PSECURITY_DESCRIPTOR (*kDescriptors[])() = {
    GetSecurityDescriptorUser, GetSecurityDescriptorUserLow,
    GetSecurityDescriptorSystem};

// What was made before the exit handlers ran is asked for after them, when the
// memory that they gave back is in use again.
struct AsksAfterTheExitHandlers {
  ~AsksAfterTheExitHandlers() {
    if (!is_due) return;
    std::vector<std::string> reused;
    for (std::size_t size = 16; size <= 8192; size += 16) {
      reused.emplace_back(size, '\xCD');
    }
    for (ACL* list : {DaclUser(), DaclSystem()}) {
      if (!IsValidAcl(list) || list->AclSize != 1024) _exit(2);
    }
    for (PSID sid : {LookupSidCurrentUser(), LookupSidEveryone()}) {
      if (!IsValidSid(sid)) _exit(3);
    }
    for (const auto get : kDescriptors) {
      if (!IsValidSecurityDescriptor(get())) _exit(4);
    }
    _exit(5);
  }
  static inline bool is_due = false;
};
// The first to be made is the last to go.
[[gnu::init_priority(101)]] AsksAfterTheExitHandlers asks;

VEL_CHILD_MAIN(AsksToTheVeryEnd) {
  DaclUser();
  for (const auto get : kDescriptors) get();
  AsksAfterTheExitHandlers::is_due = true;
  return 0;
}

TEST(DescriptorsTest, AreMadeAgainAfterTheExitHandlers) {
  EXPECT_EQ(test::ChildProcess(L"AsksToTheVeryEnd").Wait(), 5u);
}

ScopedHandle OwnToken() {
  return OpenProcessTokenFor(TOKEN_ALL_ACCESS, GetCurrentProcess());
}

ScopedHandle CopyOfToken(TOKEN_TYPE type) {
  return DuplicateTokenFor(OwnToken().get(), TOKEN_ALL_ACCESS,
                           SecurityImpersonation, type);
}

// 0 for no token.
DWORD IdOf(const ScopedHandle& token) {
  TOKEN_STATISTICS read = {};
  DWORD size = 0;
  GetTokenInformation(token.get(), TokenStatistics, &read, sizeof read, &size);
  return read.TokenId.LowPart;
}

TEST(VelImpersonatorTest, NestsFailsAndPutsBackWhatItFound) {
  const auto now = [] {
    return IdOf(OpenThreadTokenQuery(GetCurrentThread()));
  };
  const ScopedHandle a = CopyOfToken(TokenImpersonation);
  const test::LogCapture log;
  {
    const VelImpersonateToken as_a(a.get());
    EXPECT_TRUE(as_a.impersonating());
    {
      const VelImpersonateToken as_another(OwnToken().get());
      EXPECT_TRUE(now() != IdOf(a) && now() != 0);
      const VelImpersonateToken refused(nullptr);
      EXPECT_TRUE(!refused.impersonating() && now() == 0);
    }
    EXPECT_EQ(now(), IdOf(a));
  }
  EXPECT_EQ(now(), 0u);
  EXPECT_TRUE(log.Contains(3, L".\\Impersonator"));
}

TEST(ClientRightsTest, TheUserTheSystemAndAdministratorsMayAct) {
  PSID const user = LookupSidCurrentUser();
  PSID const another = LookupSidLocal();  // No token's user.
  EXPECT_TRUE(SidMayActFor(user, user));
  EXPECT_TRUE(SidMayActFor(LookupSidSystem(), user));
  EXPECT_FALSE(SidMayActFor(another, user));
  EXPECT_FALSE(SidMayActFor(nullptr, nullptr));
  SID_AND_ATTRIBUTES denied = {LookupSidAdministrators(), 0};
  ScopedHandle plain;
  EXPECT_TRUE(CreateRestrictedToken(OwnToken().get(), 0, 1, &denied, 0, nullptr,
                                    0, nullptr, plain.put()));
  EXPECT_TRUE(TokenMayActFor(plain.get(), user));
  EXPECT_FALSE(TokenMayActFor(plain.get(), another));
  EXPECT_FALSE(TokenMayActFor(nullptr, user));
  // Only a thread that impersonates has a client.
  EXPECT_FALSE(ImpersonatedMayActForProcess());
  {
    const VelImpersonateToken client(plain.get());
    EXPECT_TRUE(ImpersonatedMayActForProcess());
  }
  if (!TokenHasGroup(OwnToken().get(), LookupSidAdministrators())) {
    GTEST_SKIP() << "needs an administrator";
  }
  EXPECT_TRUE(TokenMayActFor(OwnToken().get(), another));
}

std::wstring DaclOf(HANDLE object) {
  ACL* dacl = nullptr;
  ScopedDescriptor descriptor;
  GetSecurityInfo(object, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                  nullptr, &dacl, nullptr, descriptor.put());
  return AclText(dacl);
}

TEST(ObjectSecurityTest, GivesObjectsTheListOfEveryoneOrOfAToken) {
  const ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  SetObjectSecurityEveryone(event.get(), EVENT_ALL_ACCESS);
  EXPECT_EQ(DaclOf(event.get()), L"0 1f0003 S-1-1-0;");
  const ScopedHandle token = CopyOfToken(TokenPrimary);
  const auto set_list = [&token](ACL* dacl) {
    TOKEN_DEFAULT_DACL list = {dacl};
    EXPECT_TRUE(
        SetTokenInformation(token.get(), TokenDefaultDacl, &list, sizeof list));
  };
  set_list(DaclSystem());
  EXPECT_TRUE(SetObjectDefaultDacl(event.get(), token.get()));
  const std::wstring of_token = AclText(DaclSystem());
  EXPECT_EQ(DaclOf(event.get()), of_token);
  // No list isn't the list that lets everyone in.
  set_list(nullptr);
  EXPECT_FALSE(SetObjectDefaultDacl(event.get(), token.get()));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_SECURITY_ON_OBJECT});
  EXPECT_EQ(DaclOf(event.get()), of_token);
  EXPECT_TRUE(SetObjectDefaultDacl(event.get(), nullptr));
  EXPECT_NE(DaclOf(event.get()), of_token);
}

TEST(TokensTest, KnowTheirGroupsAndTheUserAtTheConsole) {
  const ScopedHandle own = OwnToken();
  EXPECT_TRUE(TokenHasEveryone(own.get()));
  EXPECT_FALSE(TokenHasGroup(own.get(), LookupSidRestricted()));
  EXPECT_EQ(TokenHasVelGroup(own.get()),
            TokenHasGroup(own.get(), LookupSidVel()));
  EXPECT_FALSE(TokenHasGroup(nullptr, LookupSidEveryone()));
  DWORD session = kUnknownSession;
  static_cast<void>(GetConsoleUserToken(session));
  EXPECT_NE(session, kUnknownSession);
}

TEST(SessionObjectNameTest, Session0HasTheNamesOfTheMachine) {
  EXPECT_EQ(MakeSessionObjectName(0, L"X"), L"\\BaseNamedObjects\\X");
  EXPECT_EQ(MakeSessionObjectName(3, L"%s%u", L"X", 7u),
            L"\\Sessions\\3\\BaseNamedObjects\\X7");
}

constexpr DWORD kMask = 0x80100000;
constexpr int kSkip = 77;

struct ListBlock {
  ListBlock() { InitializeAcl(acl(), sizeof bytes, ACL_REVISION); }
  ACL* acl() { return reinterpret_cast<ACL*>(bytes); }
  alignas(DWORD) BYTE bytes[512] = {};
};

TEST(EnsureSidInDaclTest, AddsOnlyWhatIsMissing) {
  struct {
    DWORD present;  // mask of the entry that is there
    BYTE type;      // of that entry: 0 allows, 1 denies
    bool added;
  } const rows[] = {{kMask, 0, false}, {0x10100000, 0, true}, {kMask, 1, true}};
  for (const auto& row : rows) {
    ListBlock had, made;
    AddAccessAllowedAce(had.acl(), ACL_REVISION, row.present,
                        LookupSidRestricted());
    had.bytes[sizeof(ACL)] = row.type;
    AclFixSize(had.acl());
    EXPECT_EQ(row.added, EnsureSidInDacl(had.acl(), made.acl(), 512,
                                         LookupSidRestricted(), kMask));
    if (!row.added) continue;
    EXPECT_EQ(AclText(made.acl()),
              AclText(had.acl()) + L"0 80100000 S-1-5-12;");
    EXPECT_EQ(made.bytes[8 + 20 + 1], 3);  // flags of the second entry
  }
}

// A file system that keeps the entry finds it the second time.
void ExpectGrant(DWORD mask, bool force, bool marker_seen, bool list_read) {
  const test::LogCapture log;
  SetSidAccessOnPath(L"%VEL_GRANT%\\c", LookupSidRestricted(), mask, force);
  EXPECT_EQ(log.Contains(1, L"marker already exists"), marker_seen);
  EXPECT_EQ(log.Contains(4, L"EnsureSidInDacl: will add mask=") ||
                log.Contains(2, L"\\c') err="),
            list_read);
}

TEST(SetSidAccessOnPathTest, AMarkerKeepsTheGrantFromBeingMadeTwice) {
  const test::ScratchDirectory scratch;
  const test::ScopedVariable base(L"VEL_GRANT", scratch.File(L"a\\b"));
  ExpectGrant(kMask, false, false, true);  // makes the directories
  EXPECT_TRUE(test::FileExists(scratch.File(L"a\\b\\c\\vel_acc_80100000")));
  ExpectGrant(kMask, false, true, false);
  ExpectGrant(kMask, true, true, true);
  ExpectGrant(0x10100000, false, false, true);
  const test::LogCapture log;
  // A directory in the marker's place; the final path is told.
  CreateDirectoryW(scratch.File(L"a\\b\\c\\vel_acc_1").c_str(), nullptr);
  SetSidAccessOnPath(L"%VEL_GRANT%\\c", LookupSidRestricted(), 1, true);
  const std::wstring directory = long_path(scratch.File(L"a\\b\\c"));
  EXPECT_TRUE(log.Contains(1, L"SetSidAccessOnPath('" + directory +
                                  L"', 0x1) - failed to create marker '" +
                                  directory + L"\\vel_acc_1' - le="));
  SetSidAccessOnPath(L"%VEL_NONE%\\x", LookupSidRestricted(), 1, true);
  EXPECT_TRUE(log.Contains(
      2, L"SetSidAccessOnPath'%VEL_NONE%\\x', 0x1) - failed to expand path"));
}

using Bytes = std::vector<BYTE>;

Bytes MachineValue() {
  return RegGetBinary(kMachine, kProductKey, kValue, 0);
}

// Whether it is there from now on; an empty one takes the value away.
bool SetMachineValue(const Bytes& sid) {
  RegSetBinary(kMachine, kProductKey, kValue, sid);
  if (!sid.empty()) return MachineValue() == sid;
  return RegRemoveValue(kMachine, kProductKey, kValue, 0) == 0;
}

VEL_CHILD_MAIN(WithoutGroup) {
  SetMachineValue({});
  SetLastError(4711);
  if (LookupSidVel() != nullptr) return kSkip;
  if (GetLastError() != 4711) return 1;
  const test::LogCapture log;
  init_group(true);
  return log.Contains(4, L"init_group: LookupSidVel failed") ? 0 : 2;
}

// Bytes that are no SID count as none.
VEL_CHILD_MAIN(WithBadGroup) {
  for (const Bytes& row : {Bytes{1},
                           {1, 1, 0, 0, 0, 0, 0, 5},
                           {1, 15, 0, 0, 0, 0, 0, 5, 4, 0, 0, 0},
                           {2, 1, 0, 0, 0, 0, 0, 5, 4, 0, 0, 0}}) {
    if (!SetMachineValue(row)) return kSkip;
    if (LookupSidVel() != nullptr) return 1;
  }
  return 0;
}

VEL_CHILD_MAIN(WithGroup) {
  const auto* bytes = static_cast<const BYTE*>(LookupSidInteractive());
  const Bytes value(bytes, bytes + 12);
  if (!SetMachineValue(value)) return kSkip;
  if (!EqualSid(LookupSidVel(), LookupSidInteractive())) return 1;
  SetMachineValue({});
  if (!create_group() || MachineValue() != value) return 2;
  const test::LogCapture log;
  const test::ScopedVariable temp(L"TEMP", argument);
  init_group(false);
  if (!log.Contains(4, L"init_group: complete for 'S-1-5-4'")) return 3;
  if (RegRemoveValue(kUser, kProductKey, L"RestrictedGroupInitSid", 0) != 0)
    return 6;
  if (!test::FileExists(argument + L"\\vel_acc_80100000")) return 4;
  return test::FileExists(argument + L"\\VelTmp\\vel_acc_10100000") ? 0 : 5;
}

TEST(RestrictedAccountTest, LivesWithAndWithoutTheGroup) {
  const Bytes before = MachineValue();
  for (const wchar_t* name : {L"WithoutGroup", L"WithBadGroup", L"WithGroup"}) {
    const test::ScratchDirectory temp;
    const auto result = test::ChildProcess(name, temp.path()).Wait();
    SetMachineValue(before);
    if (result == DWORD{kSkip}) GTEST_SKIP() << "own group, or no rights";
    EXPECT_EQ(result, 0u);
  }
}

TEST(RestrictedAccountTest, RemainsAreRemovedAlsoWhereThereAreNone) {
  const std::wstring key = std::wstring(kProductKeyPrefix) + L"Account";
  RegSetDword(kUser, key, L"x", 1, 0);
  EXPECT_TRUE(delete_account());
  EXPECT_FALSE(RegKeyExists(kUser, key, 0));
  EXPECT_TRUE(delete_account() && delete_old_service());
}

// Whether it was enabled before; nothing when the token doesn't hold it.
std::optional<bool> SetDebugPrivilege(DWORD attributes) {
  const ScopedHandle token = OwnToken();
  TOKEN_PRIVILEGES wanted = {1, {{{}, attributes}}};
  TOKEN_PRIVILEGES before = {};
  DWORD size = 0;
  LookupPrivilegeValueW(nullptr, SE_DEBUG_NAME, &wanted.Privileges[0].Luid);
  SetLastError(ERROR_SUCCESS);
  AdjustTokenPrivileges(token.get(), 0, &wanted, sizeof before, &before, &size);
  if (GetLastError() != ERROR_SUCCESS) return std::nullopt;
  return (before.Privileges[0].Attributes & SE_PRIVILEGE_ENABLED) != 0;
}

TEST(EnableDebugPrivilegeTest, EnablesWhatTheTokenHolds) {
  if (!SetDebugPrivilege(0)) GTEST_SKIP() << "needs an administrator";
  EXPECT_EQ(SetDebugPrivilege(0), false);
  EXPECT_TRUE(EnableDebugPrivilege());
  EXPECT_EQ(SetDebugPrivilege(0), true);
}

}  // namespace
}  // namespace vel
