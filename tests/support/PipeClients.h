// Clients of a command pipe that go one step at a time, or no further.
#ifndef VEL_TESTS_SUPPORT_PIPECLIENTS_H_
#define VEL_TESTS_SUPPORT_PIPECLIENTS_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "support/Wait.h"
#include "sync/ScopedHandle.h"

namespace vel::test {

class PipeClient {
 public:
  explicit PipeClient(const std::wstring& name) {
    const ULONGLONG end = GetTickCount64() + kPatienceMs;
    while (!Open(name) && GetTickCount64() < end) {
      WaitNamedPipeW(name.c_str(), 50);
    }
    EXPECT_TRUE(_pipe.valid()) << GetLastError();
  }
  // A request of `size` bytes with a text of the letter A. A server that drops
  // it may do so while it is being written.
  PipeClient& Send(std::uint32_t command, std::size_t size) {
    std::vector<char> request(size + sizeof(command));
    for (std::size_t i = 4; i < size; i += 2) request[i] = 'A';
    std::memcpy(request.data(), &command, sizeof(command));
    DWORD written = 0;
    WriteFile(_pipe.get(), request.data(), DWORD(size), &written, nullptr);
    return *this;
  }
  std::optional<std::uint32_t> Reply() {
    std::uint32_t reply = 0;
    DWORD read = 0;
    if (!ReadFile(_pipe.get(), &reply, 4, &read, nullptr)) return {};
    return reply;
  }
  void Close() { _pipe.reset(); }

 private:
  bool Open(const std::wstring& name) {
    _pipe.reset(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                            nullptr, OPEN_EXISTING, 0, nullptr));
    return _pipe.valid();
  }

  ScopedFileHandle _pipe;
};

// `count` clients that send nothing, then as many that send `command` and don't
// fetch the reply.
inline std::vector<PipeClient> HostileClients(const std::wstring& name,
                                              int count,
                                              std::uint32_t command) {
  std::vector<PipeClient> clients;
  for (int i = 0; i < 2 * count && !testing::Test::HasFailure(); ++i) {
    clients.emplace_back(name);
    if (i >= count) clients.back().Send(command, 8);
  }
  return clients;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_PIPECLIENTS_H_
