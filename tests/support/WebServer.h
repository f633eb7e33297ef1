// An HTTP server of the test's own on a loopback address. Each path has what it
// sends; the connection is closed after it.
#ifndef VEL_TESTS_SUPPORT_WEBSERVER_H_
#define VEL_TESTS_SUPPORT_WEBSERVER_H_

#include <winsock2.h>

#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vel::test {

class [[nodiscard]] WebServer {
 public:
  // What a path sends, byte for byte, with a pause between the pieces. An
  // unknown path sends nothing.
  using Pages = std::map<std::string, std::vector<std::string>>;
  static constexpr DWORD kPause = 200;

  // Port 0 is one that the system chooses. port() is 0 when the address can't
  // be had.
  [[nodiscard]] WebServer(Pages pages, std::uint16_t port)
      : _pages(std::move(pages)) {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    _listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    // One address per process, so that tests at the same time don't meet.
    address.sin_addr.s_addr =
        htonl(0x7F010000 | (GetCurrentProcessId() & 0xFFFF));
    _host = inet_ntoa(address.sin_addr);
    auto* name = reinterpret_cast<sockaddr*>(&address);
    int size = sizeof(address);
    if (bind(_listener, name, size) != 0 || listen(_listener, 8) != 0) return;
    getsockname(_listener, name, &size);
    _port = ntohs(address.sin_port);
    _thread = std::thread([this] { Serve(); });
  }
  ~WebServer() { Stop(); }

  void Stop() {
    closesocket(std::exchange(_listener, INVALID_SOCKET));
    if (_thread.joinable()) _thread.join();
  }
  std::uint16_t port() const { return _port; }
  std::wstring Url(const std::wstring& path, std::uint16_t port) const {
    const std::wstring host(_host.begin(), _host.end());
    return L"http://" + host + L":" + std::to_wstring(port) + path;
  }
  std::wstring Url(const std::wstring& path) const { return Url(path, _port); }
  // The requests so far, as they came. Not while one is being served.
  const std::vector<std::string>& requests() const { return _requests; }

 private:
  void Serve() {
    SOCKET peer;
    while ((peer = accept(_listener, nullptr, nullptr)) != INVALID_SOCKET) {
      _requests.push_back(ReadRequest(peer));
      const std::string& text = _requests.back();
      const std::size_t path = text.find(' ') + 1;
      const auto page =
          _pages.find(text.substr(path, text.find(' ', path) - path));
      if (page != _pages.end()) Send(peer, page->second);
      shutdown(peer, SD_BOTH);
      closesocket(peer);
    }
  }
  static std::string ReadRequest(SOCKET peer) {
    std::string text;
    std::size_t missing = 1;
    char chunk[4096];
    while (missing != 0) {
      const int came = recv(peer, chunk, sizeof(chunk), 0);
      if (came <= 0) break;
      text.append(chunk, static_cast<std::size_t>(came));
      const std::size_t head = text.find("\r\n\r\n");
      if (head == std::string::npos) continue;
      const std::size_t length = text.find("Content-Length: ");
      const std::size_t body = length == std::string::npos
                                   ? 0
                                   : std::stoul(text.substr(length + 16));
      missing = head + 4 + body - text.size();
    }
    return text;
  }
  static void Send(SOCKET peer, const std::vector<std::string>& pieces) {
    for (const std::string& piece : pieces) {
      if (&piece != pieces.data()) Sleep(kPause);
      send(peer, piece.data(), static_cast<int>(piece.size()), 0);
    }
  }

  const Pages _pages;
  SOCKET _listener = INVALID_SOCKET;
  std::string _host;
  std::uint16_t _port = 0;
  std::vector<std::string> _requests;
  std::thread _thread;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_WEBSERVER_H_
