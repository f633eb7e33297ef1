#include "security/Impersonator.h"

#include <gtest/gtest.h>

#include "foundation/Text.h"
#include "security/SessionObjectName.h"
#include "security/Tokens.h"
#include "security/WellKnownSids.h"
#include "support/LogCapture.h"

namespace vel {
namespace {

ScopedHandle ImpersonationToken() {
  const ScopedHandle own =
      OpenProcessTokenFor(TOKEN_ALL_ACCESS, GetCurrentProcess());
  return DuplicateTokenFor(own.get(), TOKEN_ALL_ACCESS, SecurityImpersonation,
                           TokenImpersonation);
}

LONGLONG IdOf(HANDLE token) {
  const auto information =
      ReadTokenInformation(token, TokenStatistics, kReadAtOnce);
  if (information.empty()) return 0;
  const LUID& id =
      reinterpret_cast<const TOKEN_STATISTICS*>(information.data())->TokenId;
  return (LONGLONG{id.HighPart} << 32) | id.LowPart;
}

// 0 when the thread runs as the process.
LONGLONG ThreadId() {
  return IdOf(OpenThreadTokenQuery(GetCurrentThread()).get());
}

TEST(VelImpersonatorTest, NestsAndPutsBackWhatItFound) {
  const ScopedHandle a = ImpersonationToken();
  const ScopedHandle b = ImpersonationToken();
  ASSERT_NE(IdOf(a.get()), IdOf(b.get()));
  {
    const VelImpersonateToken as_a(a.get());
    EXPECT_TRUE(as_a.impersonating());
    EXPECT_EQ(ThreadId(), IdOf(a.get()));
    try {
      const VelImpersonateToken as_b(b.get());
      EXPECT_EQ(ThreadId(), IdOf(b.get()));
      const VelImpersonatorBase as_process;
      EXPECT_EQ(ThreadId(), 0);
      throw 1;
    } catch (int) {
    }
    EXPECT_EQ(ThreadId(), IdOf(a.get()));
  }
  EXPECT_EQ(ThreadId(), 0);
}

TEST(VelImpersonatorTest, FailureRunsAsTheProcessAndIsLogged) {
  const ScopedHandle a = ImpersonationToken();
  const test::LogCapture log;
  const VelImpersonateToken as_a(a.get());
  {
    const VelImpersonateToken refused(nullptr);
    EXPECT_FALSE(refused.impersonating());
    EXPECT_EQ(ThreadId(), 0);
    const VelImpersonatePipeClient no_pipe(nullptr);
    EXPECT_FALSE(no_pipe.impersonating());
  }
  EXPECT_EQ(ThreadId(), IdOf(a.get()));
  EXPECT_TRUE(log.Contains(3, L".\\Impersonator"));
}

TEST(VelImpersonatorTest, RunsAsThePipesClient) {
  const std::wstring name =
      FormatWide(L"\\\\.\\pipe\\vel_client_%u", GetCurrentProcessId());
  const ScopedFileHandle server(
      CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE, 1,
                       64, 64, 0, nullptr));
  const ScopedFileHandle client(
      CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                  OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(client);
  DWORD moved = 0;
  char byte = 0;
  ASSERT_TRUE(WriteFile(client.get(), &byte, 1, &moved, nullptr));
  ASSERT_TRUE(ReadFile(server.get(), &byte, 1, &moved, nullptr));
  {
    const VelImpersonatePipeClient as_client(server.get());
    EXPECT_TRUE(as_client.impersonating());
    EXPECT_NE(ThreadId(), 0);
  }
  EXPECT_EQ(ThreadId(), 0);
}

TEST(TokensTest, AGroupThatOnlyDeniesIsNone) {
  const ScopedHandle own =
      OpenProcessTokenFor(TOKEN_ALL_ACCESS, GetCurrentProcess());
  EXPECT_TRUE(TokenHasEveryone(own.get()));
  EXPECT_FALSE(TokenHasGroup(own.get(), nullptr));
  EXPECT_FALSE(TokenHasGroup(own.get(), LookupSidRestricted()));
  SID_AND_ATTRIBUTES everyone = {LookupSidEveryone(), 0};
  HANDLE raw_token = nullptr;
  if (!CreateRestrictedToken(own.get(), 0, 1, &everyone, 0, nullptr, 0, nullptr,
                             &raw_token)) {
    GTEST_SKIP() << "no restricted tokens here";
  }
  const ScopedHandle restricted(raw_token);
  EXPECT_FALSE(TokenHasEveryone(restricted.get()));
}

TEST(SessionObjectNameTest, NamesTheSessionsNamespace) {
  EXPECT_EQ(MakeSessionObjectName(0, L"X"), L"\\BaseNamedObjects\\X");
  EXPECT_EQ(MakeSessionObjectName(3, L"%s\\%u", L"X%s", 7),
            L"\\Sessions\\3\\BaseNamedObjects\\X%s\\7");
}

}  // namespace
}  // namespace vel
