#include "service/UserProcess.h"

#include <userenv.h>
#include <wtsapi32.h>

#include <atomic>

#include "common/UniqueHandle.h"

namespace velsvc {
namespace {

using companion::UniqueHandle;

std::atomic<bool> run_as_service{false};

// The environment that a user's processes start with.
class [[nodiscard]] UserEnvironment {
 public:
  [[nodiscard]] explicit UserEnvironment(HANDLE token) {
    if (!CreateEnvironmentBlock(&_block, token, FALSE)) _block = nullptr;
  }
  ~UserEnvironment() {
    if (_block) DestroyEnvironmentBlock(_block);
  }
  UserEnvironment(const UserEnvironment&) = delete;
  UserEnvironment& operator=(const UserEnvironment&) = delete;

  void* get() const { return _block; }

 private:
  void* _block = nullptr;
};

std::wstring program_path() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(),
                                 static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"Brindlemar.exe";
}

// The user's own token, not an elevated one: a client that is being installed
// hands its rights on to nobody.
DWORD user_token(DWORD client, UniqueHandle* token) {
  DWORD session = 0;
  if (!ProcessIdToSessionId(client, &session) ||
      !WTSQueryUserToken(session, token->put())) {
    return GetLastError();
  }
  return ERROR_SUCCESS;
}

DWORD start(HANDLE token, void* environment, std::wstring command_line) {
  wchar_t desktop[] = L"winsta0\\default";
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.lpDesktop = token ? desktop : nullptr;
  PROCESS_INFORMATION info = {};
  const DWORD flags = CREATE_UNICODE_ENVIRONMENT | CREATE_DEFAULT_ERROR_MODE;
  const std::wstring program = program_path();
  const BOOL started =
      token ? CreateProcessAsUserW(token, program.c_str(), command_line.data(),
                                   nullptr, nullptr, FALSE, flags, environment,
                                   nullptr, &startup, &info)
            : CreateProcessW(program.c_str(), command_line.data(), nullptr,
                             nullptr, FALSE, flags, nullptr, nullptr, &startup,
                             &info);
  if (!started) return GetLastError();
  CloseHandle(info.hThread);
  CloseHandle(info.hProcess);
  return ERROR_SUCCESS;
}

}  // namespace

void set_run_as_service(bool as_service) {
  run_as_service = as_service;
}

DWORD start_in_session_of(DWORD client, const std::wstring& command_line) {
  if (!run_as_service) return start(nullptr, nullptr, command_line);
  UniqueHandle token;
  if (const DWORD error = user_token(client, &token)) return error;
  const UserEnvironment environment(token.get());
  if (!environment.get()) return GetLastError();
  return start(token.get(), environment.get(), command_line);
}

}  // namespace velsvc
