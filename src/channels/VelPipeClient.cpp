#include "channels/VelPipeClient.h"

#include <windows.h>

#include <cstddef>
#include <cstring>
#include <memory>

#include "channels/PipeMarker.h"
#include "log/VelLog.h"
#include "security/ObjectSecurity.h"
#include "security/Tokens.h"
#include "sync/ScopedHandle.h"
#include "vel/PipeMessage.h"

namespace vel {
namespace {

constexpr int kBusyTries = 30;
constexpr DWORD kBusyPause = 10;   // ms
constexpr DWORD kBusyWait = 1000;  // ms, for an instance to be free

ScopedFileHandle open_pipe(const wchar_t* pipe_name) {
  return ScopedFileHandle(CreateFileW(pipe_name, GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Empty, with the last error, when there is no server or all its instances stay
// busy.
ScopedFileHandle connect_to(const wchar_t* pipe_name) {
  for (int tries = 0; tries < kBusyTries; ++tries) {
    ScopedFileHandle pipe = open_pipe(pipe_name);
    if (pipe || GetLastError() != ERROR_PIPE_BUSY) return pipe;
    Sleep(kBusyPause);
    WaitNamedPipeW(pipe_name, kBusyWait);
  }
  return {};
}

// A message-type pipe makes one message of each call, so command and text have
// to lie together. The tail is left as it comes.
bool send_request(HANDLE pipe, std::uint32_t command,
                  const std::wstring& args) {
  const std::size_t text_size = args.size() * sizeof(wchar_t);
  const std::size_t size = VEL_PIPE_MIN_REQUEST + text_size;
  const auto request = std::make_unique_for_overwrite<std::byte[]>(size);
  std::memcpy(request.get(), &command, sizeof(command));
  std::memcpy(request.get() + VEL_PIPE_TEXT_OFFSET, args.data(), text_size);
  DWORD written = 0;
  return WriteFile(pipe, request.get(), static_cast<DWORD>(size), &written,
                   nullptr) != FALSE;
}

// 0 when there is no pipe or the exchange fails.
std::uint32_t exchange(const ScopedFileHandle& pipe, std::uint32_t command,
                       const std::wstring& args) {
  if (!pipe || !send_request(pipe.get(), command, args)) return 0;
  std::uint32_t reply = 0;
  DWORD read = 0;
  if (!ReadFile(pipe.get(), &reply, sizeof(reply), &read, nullptr)) return 0;
  return reply;
}

bool refuses(const std::wstring& pipe_name, std::uint32_t command,
             const std::wstring& args) {
  if (VelPipeServerIsTrusted(pipe_name)) return false;
  VelLog_Print(kLogError,
               L"VelPipeCommand('%s', 0x%x, '%s') - security le=0x%x",
               pipe_name.c_str(), command, args.c_str(), GetLastError());
  return true;
}

}  // namespace

std::uint32_t VelPipeCommand(const std::wstring& pipe_name,
                             std::uint32_t command, const std::wstring& args,
                             bool verify_server) {
  if (verify_server && refuses(pipe_name, command, args)) return 0;
  return exchange(connect_to(pipe_name.c_str()), command, args);
}

std::uint32_t VelPipeCommandOnce(const std::wstring& pipe_name,
                                 std::uint32_t command,
                                 const std::wstring& args) {
  return exchange(open_pipe(pipe_name.c_str()), command, args);
}

bool VelPipeServerIsRunning(const std::wstring& pipe_name) {
  const ScopedHandle token = OpenCurrentToken();
  return token && open_pipe_marker(pipe_name.c_str(), token.get()).valid();
}

bool VelPipeServerIsTrusted(const std::wstring& pipe_name) {
  const ScopedHandle token = OpenCurrentToken();
  if (!token) return false;
  const ScopedHandle marker = open_pipe_marker(pipe_name.c_str(), token.get());
  return marker && IsOwnedByToken(marker.get(), token.get());
}

}  // namespace vel
