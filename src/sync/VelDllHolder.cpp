#include "sync/VelDllHolder.h"

#include <cstdlib>
#include <limits>
#include <new>

#include "log/VelLog.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ProcAddress.h"
#include "sync/Trap.h"
#include "vel/IVelPlugin.h"

namespace vel {

namespace {

constexpr char kLogSource[] = ".\\VelDllHolder";
constexpr DWORD kAskAgainMs = 50;

wchar_t* copy_path(const wchar_t* path) {
  wchar_t* copy = _wcsdup(path);
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

}  // namespace

VelDllHolder::VelDllHolder(const wchar_t* path) : _path(copy_path(path)) {}

VelDllHolder::~VelDllHolder() {
  if (_loads != 0) vel_trap();
  wait();
  if (_loads != 0) vel_trap();
  if (_wake != nullptr) CloseHandle(_wake);
  std::free(_path);
  while (_task_started != 0) Sleep(1);
}

HMODULE VelDllHolder::load() {
  VelFastMutex::Scope scope(_lock);
  if (_loads == 0 && _module == nullptr) {
    _module = LoadLibraryW(_path);
    LastErrorKeeper keeper;
    _can_unload = _module == nullptr ? nullptr
                                     : proc_address<VelDllCanUnloadNowFn*>(
                                           _module, VEL_CAN_UNLOAD_EXPORT);
  }
  ++_loads;
  return _module;
}

void VelDllHolder::unload() {
  VelFastMutex::Scope scope(_lock);
  if (--_loads > 0) return;
  if (_loads < 0) vel_trap();
  if (may_unload() && !is_running()) {
    free_module();
  } else {
    unload_in_background();
  }
}

bool VelDllHolder::may_unload() const {
  return _can_unload == nullptr || _can_unload() == 0;
}

void VelDllHolder::free_module() {
  if (_module != nullptr) FreeLibrary(_module);
  _module = nullptr;
}

void VelDllHolder::unload_in_background() {
  if (_wake == nullptr) {
    _wake =
        CreateSemaphoreW(nullptr, 0, std::numeric_limits<LONG>::max(), nullptr);
    if (_wake == nullptr) vel_trap();
  }
  ReleaseSemaphore(_wake, 1, nullptr);
  if (_module == nullptr || is_running()) return;
  ++_task_started;
  if (start()) return;
  // Nobody is there to ask the library again: it stays.
  VEL_LOG_WIN32_CALL();
  --_task_started;
}

// Returns with the lock held: no unload() can find a task that has left the
// library and isn't idle yet.
void VelDllHolder::run() VEL_NO_THREAD_ANALYSIS {
  WaitForSingleObject(_wake, INFINITE);
  for (;;) {
    _lock.lock();
    if (_module == nullptr || _loads != 0) {
      _lock.unlock();
      WaitForSingleObject(_wake, INFINITE);
      continue;
    }
    if (may_unload()) {
      free_module();
      return;
    }
    _lock.unlock();
    Sleep(kAskAgainMs);
  }
}

void VelDllHolder::finished() VEL_NO_THREAD_ANALYSIS {
  VelTask::finished();
  _lock.unlock();
  --_task_started;
}

}  // namespace vel
