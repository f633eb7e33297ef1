#include "session/HookEvent.h"

#include <windows.h>

#include <atomic>
#include <cwchar>

#include "common/SrwLock.h"

namespace velul {
namespace {

constinit companion::SrwLock publish_lock;
constinit std::uint32_t record[2] = {};

}  // namespace

bool publish_hook_event() {
  const companion::SrwLock::Scope scope(publish_lock);
  if (record[0]) return true;
  wchar_t name[32];
  _snwprintf(name, 32, L"%s_%x", L"VELUL", GetCurrentProcessId());
  // The handle is left open: the event is to live as long as the process.
  if (!CreateEventW(nullptr, TRUE, TRUE, name)) return false;
  std::atomic_ref(record[0]).store(1, std::memory_order_release);
  return true;
}

const std::uint32_t* hook_record() {
  return record;
}

}  // namespace velul
