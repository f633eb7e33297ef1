// The HTTP client beside bare calls of WinINet, against a server on loopback.
#include <winsock2.h>

#include <windows.h>
#include <wininet.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "foundation/HttpTransfer.h"
#include "support/Ratios.h"
#include "tests/support/WebServer.h"

namespace vel::bench {
namespace {

constexpr std::size_t kSmall = 1 << 10;
constexpr std::size_t kLarge = 10 << 20;
constexpr DWORD kFlags = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE;
constexpr std::uint16_t kPort = 80;

std::string page_of(std::size_t size) {
  return "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(size) +
         "\r\n\r\n" + std::string(size, 'x');
}

// Null where port 80 can't be had: http_post knows no other.
test::WebServer* server() {
  static test::WebServer made(
      {{"/1024", {page_of(kSmall)}}, {"/10485760", {page_of(kLarge)}}}, kPort);
  return made.port() != 0 ? &made : nullptr;
}

std::wstring path(benchmark::State& state) {
  return L"/" + std::to_wstring(state.range(0));
}

void read_all(HINTERNET source, std::string& reply) {
  std::vector<char> chunk(0x10000);
  DWORD came = 0;
  while (InternetReadFile(source, chunk.data(),
                          static_cast<DWORD>(chunk.size()), &came) &&
         came != 0) {
    reply.append(chunk.data(), came);
  }
}

std::string bare_get(const std::wstring& url) {
  std::string reply;
  const HINTERNET session = InternetOpenW(L"x", 0, nullptr, nullptr, 0);
  const HINTERNET source =
      InternetOpenUrlW(session, url.c_str(), nullptr, 0, kFlags, 0);
  read_all(source, reply);
  InternetCloseHandle(source);
  InternetCloseHandle(session);
  return reply;
}

std::string bare_post(const std::wstring& host, const std::wstring& path) {
  std::string reply;
  char body[] = "body";
  const HINTERNET session = InternetOpenW(L"x", 0, nullptr, nullptr, 0);
  const HINTERNET connection =
      InternetConnectW(session, host.c_str(), kPort, nullptr, nullptr,
                       INTERNET_SERVICE_HTTP, 0, 0);
  const HINTERNET request = HttpOpenRequestW(
      connection, L"POST", path.c_str(), nullptr, nullptr, nullptr, kFlags, 0);
  HttpSendRequestW(request, nullptr, 0, body, 4);
  read_all(request, reply);
  InternetCloseHandle(request);
  InternetCloseHandle(connection);
  InternetCloseHandle(session);
  return reply;
}

enum class Call { kGet, kBareGet, kPost, kBarePost };

void run(benchmark::State& state, Call call) {
  if (server() == nullptr) {
    state.SkipWithError("port 80 can't be had");
    return;
  }
  const std::wstring url = server()->Url(path(state));
  const std::wstring host = url.substr(7, url.find(L':', 7) - 7);
  for (auto _ : state) {
    std::string reply;
    if (call == Call::kGet) http_get(url, reply);
    if (call == Call::kBareGet) reply = bare_get(url);
    if (call == Call::kPost) http_post(url, L"body", reply, L"");
    if (call == Call::kBarePost) reply = bare_post(host, path(state));
    if (reply.size() != static_cast<std::size_t>(state.range(0))) {
      state.SkipWithError("the reply isn't whole");
    }
  }
}

bool add_all() {
  const std::pair<const char*, Call> calls[] = {{"http_get", Call::kGet},
                                                {"bare GET", Call::kBareGet},
                                                {"http_post", Call::kPost},
                                                {"bare POST", Call::kBarePost}};
  for (const auto& [name, call] : calls) {
    benchmark::RegisterBenchmark(
        name, [call = call](benchmark::State& state) { run(state, call); })
        ->UseRealTime()
        ->Iterations(1)
        ->Repetitions(21)
        ->Arg(kSmall)
        ->Arg(kLarge);
  }
  for (const std::string size : {"/1024", "/10485760"}) {
    add_ratio("http_get" + size, "bare GET" + size, 0);
    add_ratio("http_post" + size, "bare POST" + size, 0);
  }
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
