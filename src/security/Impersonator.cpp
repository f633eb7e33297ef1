#include "security/Impersonator.h"

#include "log/VelLog.h"
#include "sync/LastErrorKeeper.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\Impersonator";

void revert() {
  const LastErrorKeeper keeper;
  if (!RevertToSelf()) VEL_LOG_WIN32_CALL();
}

}  // namespace

VelImpersonatorBase::VelImpersonatorBase() noexcept {
  const LastErrorKeeper keeper;
  if (!OpenThreadToken(GetCurrentThread(), MAXIMUM_ALLOWED, FALSE,
                       &_saved_token)) {
    _saved_token = nullptr;
  }
  if (_saved_token != nullptr) revert();
}

VelImpersonatorBase::~VelImpersonatorBase() {
  if (_saved_token == nullptr) return;
  const LastErrorKeeper keeper;
  if (!ImpersonateLoggedOnUser(_saved_token)) VEL_LOG_WIN32_CALL();
  if (!CloseHandle(_saved_token)) VEL_LOG_WIN32_CALL();
}

VelImpersonateToken::VelImpersonateToken(HANDLE token) noexcept
    : _impersonating(ImpersonateLoggedOnUser(token) != 0) {
  if (!_impersonating) VEL_LOG_WIN32_CALL();
}

VelImpersonateToken::~VelImpersonateToken() {
  if (_impersonating) revert();
}

VelImpersonatePipeClient::VelImpersonatePipeClient(HANDLE pipe) noexcept
    : _impersonating(ImpersonateNamedPipeClient(pipe) != 0) {
  if (!_impersonating) VEL_LOG_WIN32_CALL();
}

VelImpersonatePipeClient::~VelImpersonatePipeClient() {
  if (_impersonating) revert();
}

}  // namespace vel
