#include "FakeShell.h"

#include <mutex>

#include "tray/ShellNotify.h"

namespace vel::test {
namespace {

std::mutex s_mutex;
std::vector<ShellCall> s_calls;
bool s_refuse_add = false;
bool s_refuse_modify = false;

BOOL WINAPI Take(DWORD message, NOTIFYICONDATAW* data) {
  const std::lock_guard lock(s_mutex);
  s_calls.push_back({message, *data, GetCurrentThreadId()});
  const bool refused = (message == NIM_ADD && s_refuse_add) ||
                       (message == NIM_MODIFY && s_refuse_modify);
  if (refused) SetLastError(ERROR_TIMEOUT);
  return !refused;
}

}  // namespace

FakeShell::FakeShell() {
  Refuse(false, false);
  Clear();
  replace_shell_notify(Take);
}

FakeShell::~FakeShell() {
  replace_shell_notify(nullptr);
}

void FakeShell::Refuse(bool add, bool modify) {
  const std::lock_guard lock(s_mutex);
  s_refuse_add = add;
  s_refuse_modify = modify;
}

std::vector<ShellCall> FakeShell::Calls() const {
  const std::lock_guard lock(s_mutex);
  return s_calls;
}

std::string FakeShell::Sequence() const {
  std::string sequence;
  for (const ShellCall& call : Calls()) {
    sequence += call.message == NIM_ADD      ? 'A'
                : call.message == NIM_MODIFY ? 'M'
                                             : 'D';
  }
  return sequence;
}

void FakeShell::Clear() {
  const std::lock_guard lock(s_mutex);
  s_calls.clear();
}

}  // namespace vel::test
