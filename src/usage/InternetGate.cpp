#include "usage/InternetGate.h"

#include <winsock2.h>
#include <windows.h>
#include <wininet.h>

#include <cstdint>
#include <cstring>

namespace vel {
namespace {

constexpr WORD kSocketsVersion = MAKEWORD(1, 1);
constexpr int kHostNameRoom = 255;

bool is_connected() {
  DWORD flags = 0;
  return InternetGetConnectedState(&flags, 0) &&
         (flags & INTERNET_CONNECTION_OFFLINE) == 0;
}

bool has_own_address() {
  char name[kHostNameRoom];
  if (gethostname(name, sizeof(name)) != 0) return false;
  const hostent* const host = gethostbyname(name);
  if (host == nullptr || host->h_addrtype != AF_INET ||
      host->h_addr_list[0] == nullptr) {
    return false;
  }
  std::uint32_t address = 0;
  std::memcpy(&address, host->h_addr_list[0], sizeof(address));
  return address != 0 && address != inet_addr("127.0.0.1");
}

}  // namespace

bool is_internet_reachable() {
  WSADATA sockets;
  if (!is_connected() || WSAStartup(kSocketsVersion, &sockets) != 0) {
    return false;
  }
  const bool reachable = has_own_address();
  WSACleanup();
  return reachable;
}

}  // namespace vel
