#include "foundation/HttpTransfer.h"

#include "support/WebServer.h"
// The socket header goes before windows.h.
#include <gtest/gtest.h>

#include "foundation/CodePageConverter.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "support/ChildProcess.h"
#include "support/ScopedVariable.h"

namespace vel {
namespace {

using namespace std::string_literals;

// With `missing` bytes fewer than it says.
std::string page(const char* status, const std::string& body,
                 std::size_t missing = 0) {
  return "HTTP/1.1 "s + status +
         "\r\nContent-Length: " + std::to_string(body.size() + missing) +
         "\r\nConnection: close\r\n\r\n" + body;
}

const std::string kBig(3 * 0x10000 + 7, 'b');
const std::string kZeros = "a\0b\0"s;

// No proxy of the machine's comes between.
class HttpTransferTest : public testing::Test {
 protected:
  const test::ScopedVariable _no_proxy{L"http_proxy", L""};
  const test::WebServer::Pages _pages = {
      {"/zeros", {page("200 OK", kZeros)}},
      {"/empty", {page("200 OK", "")}},
      {"/big?x=1", {page("200 OK", kBig)}},
      {"/404", {page("404 Not Found", "gone")}},
      {"/500", {page("500 Oops", "broken")}},
      {"/slow", {page("200 OK", "one", 3), "two"}},
      {"/cut", {page("200 OK", "part", 100)}},
      {"/unsized", {"HTTP/1.0 200 OK\r\n\r\nto the end"}}};
};

TEST_F(HttpTransferTest, GetsWhateverTheServerSends) {
  const test::WebServer server(_pages, 0);
  ASSERT_NE(server.port(), 0);
  const std::pair<const wchar_t*, std::string> rows[] = {
      {L"/zeros", kZeros}, {L"/empty", ""},
      {L"/big?x=1", kBig}, {L"/404", "gone"},
      {L"/500", "broken"}, {L"/slow", "onetwo"},
      {L"/cut", "part"},   {L"/unsized", "to the end"}};
  for (const auto& [path, expected] : rows) {
    std::string reply = "old";
    EXPECT_TRUE(http_get(server.Url(path), reply)) << path;
    EXPECT_EQ(reply, expected) << path;
    EXPECT_TRUE(url_exists(server.Url(path))) << path;
  }
}

TEST_F(HttpTransferTest, FailureLeavesTheReplyAlone) {
  test::WebServer server(_pages, 0);
  std::string reply = "old";
  std::wstring text = L"old";
  // Wine takes a server that closes without a word for an empty reply.
  const bool took = http_get(server.Url(L"/nothing"), reply);
  EXPECT_EQ(reply, took ? "" : "old");
  reply = "old";
  server.Stop();
  EXPECT_FALSE(http_get(server.Url(L"/zeros"), reply));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(12029));  // Can't connect.
  EXPECT_FALSE(http_get_text(L"no url", text) || url_exists(L"no url"));
  EXPECT_FALSE(http_post(L"no url", L"", reply, L""));
  EXPECT_TRUE(reply == "old" && text == L"old");
}

TEST_F(HttpTransferTest, RequestsGoToPort80WithVerbHeadersAndNarrowBody) {
  const test::WebServer server(_pages, 80);
  if (server.port() == 0) GTEST_SKIP() << "Port 80 can't be had here.";
  // No such port: it isn't looked at.
  const std::wstring url = server.Url(L"/big?x=1", 1);
  std::string reply;
  ASSERT_TRUE(http_post(url, L"a\0\u00e9"s, reply, L"X-One: 1\r\nX-Two: 2"));
  EXPECT_EQ(reply, kBig);
  const std::string sent = server.requests().back();
  EXPECT_EQ(sent.find("POST /big?x=1 HTTP/1.1\r\n"), 0u) << sent;
  for (const char* line :
       {"\r\nX-One: 1\r\n", "\r\nX-Two: 2\r\n", "\r\nAccept: */*\r\n",
        "\r\nContent-Length: 3\r\n"}) {
    EXPECT_NE(sent.find(line), std::string::npos) << line << sent;
  }
  EXPECT_EQ(sent.substr(sent.size() - 3), narrow(L"a\0\u00e9"s));
  std::wstring text;
  ASSERT_TRUE(http_put_text(server.Url(L"/zeros", 1), L"", text, L""));
  EXPECT_EQ(text, L"a\0b\0"s);
  EXPECT_TRUE(server.requests().back().starts_with("PUT /zeros "));
  EXPECT_EQ(server.requests().back().find("X-One"), std::string::npos);
}

VEL_CHILD_MAIN(GetsUrl) {
  return url_exists(argument) ? 0 : 1;
}

// The text is kept for the process's life, so each version has its own.
TEST_F(HttpTransferTest, UserAgentHasTheInstalledVersion) {
  const test::WebServer server(_pages, 0);
  const HKEY user = HKEY_CURRENT_USER;
  const std::wstring value = L"InstalledVersion";
  const std::wstring before = RegGetString(user, kProductKey, value, 0);
  for (const auto& [version, agent] :
       {std::pair{L"", "User-Agent: Brindlemar\r\n"},
        {L"1.2.3", "User-Agent: Brindlemar v1.2.3\r\n"}}) {
    RegSetString(user, kProductKey, value, version, 0);
    EXPECT_EQ(test::ChildProcess(L"GetsUrl", server.Url(L"/empty")).Wait(), 0u);
    ASSERT_FALSE(server.requests().empty());
    EXPECT_NE(server.requests().back().find(agent), std::string::npos);
  }
  RegSetString(user, kProductKey, value, before, 0);
}

TEST(CodePageConverterTest, ConvertsBetweenItsCodePageAndTheRest) {
  const CodePageConverter latin(1252), utf8(65001), none(12345);
  EXPECT_EQ(latin.to_utf8("\xe9\0x"s), "\xc3\xa9\0x"s);
  EXPECT_EQ(latin.from_utf8("\xc3\xa9"), "\xe9");
  EXPECT_EQ(utf8.to_wide("\xf0\x9f\x98\x80"), L"\U0001f600");
  EXPECT_EQ(utf8.from_wide(L"\U0001f600"), "\xf0\x9f\x98\x80");
  EXPECT_EQ(latin.to_wide("") + none.to_wide("text"), L"");
  SetLastError(4711);
  EXPECT_EQ(none.to_utf8("text") + none.from_wide(L"text"), "");
  EXPECT_EQ(GetLastError(), 4711u);
  EXPECT_EQ(widen("a\0b"s), L"a\0b"s);
}

TEST(UrlEncodeTest, EscapesThreeCharactersOnce) {
  std::wstring text = L"a+b=c/d%";
  url_encode(text);
  EXPECT_EQ(text, L"a%2Bb%3Dc%2Fd%");
  url_encode_char(L'\t', text = L"\ta\t");
  EXPECT_EQ(text, L"%9a%9");
}

}  // namespace
}  // namespace vel
