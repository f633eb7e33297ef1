#include "channels/PipeMarker.h"

#include <cwchar>
#include <string>

#include "foundation/Text.h"
#include "log/VelLog.h"
#include "security/SessionObjectName.h"
#include "sync/NtApi.h"
#include "vel/PipeMessage.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\PipeMarker";
constexpr ULONG kOpenAttributes = OBJ_CASE_INSENSITIVE | OBJ_OPENIF;
// Statuses with both bits set are errors; warnings are not.
constexpr NTSTATUS kErrorBits = static_cast<NTSTATUS>(0xC0000000);

// The whole name when it has no backslash.
const wchar_t* base_name(const wchar_t* pipe_name) {
  const wchar_t* const last = std::wcsrchr(pipe_name, L'\\');
  return last != nullptr ? last + 1 : pipe_name;
}

// 0 when the system doesn't tell.
DWORD session_of(HANDLE token) {
  DWORD session = 0;
  DWORD size = 0;
  if (!GetTokenInformation(token, TokenSessionId, &session, sizeof(session),
                           &size)) {
    VEL_LOG_WIN32_CALL();
    return 0;
  }
  return session;
}

}  // namespace

ScopedHandle create_pipe_marker(const wchar_t* pipe_name,
                                SECURITY_ATTRIBUTES* security) {
  const std::wstring name =
      FormatWide(VEL_PIPE_MARKER_FORMAT, base_name(pipe_name));
  return ScopedHandle(CreateEventW(security, TRUE, FALSE, name.c_str()));
}

ScopedHandle open_pipe_marker(const wchar_t* pipe_name, HANDLE token) {
  const std::wstring path = MakeSessionObjectName(
      session_of(token), VEL_PIPE_MARKER_FORMAT, base_name(pipe_name));
  UNICODE_STRING name = {};
  nt::RtlInitUnicodeString(&name, path.c_str());
  OBJECT_ATTRIBUTES attributes = {};
  InitializeObjectAttributes(&attributes, &name, kOpenAttributes, nullptr,
                             nullptr);
  HANDLE marker = nullptr;
  const NTSTATUS status =
      nt::ZwOpenEvent(&marker, MAXIMUM_ALLOWED, &attributes);
  if ((status & kErrorBits) == kErrorBits) {
    SetLastError(static_cast<DWORD>(status));
    return {};
  }
  return ScopedHandle(marker);
}

}  // namespace vel
