#include "menus/Background.h"

#include <windows.h>

#include <objbase.h>

#include <exception>
#include <memory>

#include "common/DebugReport.h"
#include "common/SrwLock.h"

namespace velmenus::background {
namespace {

using companion::SrwLock;

constexpr int kDialogs = static_cast<int>(Dialog::kCount);

constinit SrwLock lock;
// Guarded by lock.
constinit bool closed = false;
constinit long count = 0;
constinit bool dialog_open[kDialogs] = {};
constinit DWORD dialog_thread[kDialogs] = {};

struct DialogJob {
  int slot;
  HMODULE module;  // a reference for the thread's time
  Work work;
};

// This library, with one more reference on it.
HMODULE own_module() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<const wchar_t*>(&own_module), &module);
  return module;
}

bool begin() {
  const SrwLock::Scope scope(lock);
  if (closed) return false;
  ++count;
  return true;
}

void end() {
  const SrwLock::Scope scope(lock);
  --count;
}

void run(const Work& work) {
  try {
    work();
  } catch (const std::exception&) {
    companion::debug_report(L"menus", L"a task", ERROR_NOT_ENOUGH_MEMORY);
  }
}

void CALLBACK task_entry(TP_CALLBACK_INSTANCE*, void* argument) {
  {
    const std::unique_ptr<Work> work(static_cast<Work*>(argument));
    run(*work);
  }
  end();
}

bool submit(Work* work) {
  TP_CALLBACK_ENVIRON environment;
  InitializeThreadpoolEnvironment(&environment);
  SetThreadpoolCallbackRunsLong(&environment);
  const HMODULE module = own_module();
  // The pool holds a reference of its own until the callback has returned.
  SetThreadpoolCallbackLibrary(&environment, module);
  const BOOL submitted =
      TrySubmitThreadpoolCallback(&task_entry, work, &environment);
  if (!submitted) companion::debug_report(L"menus", L"a task", GetLastError());
  DestroyThreadpoolEnvironment(&environment);
  FreeLibrary(module);
  return submitted != FALSE;
}

BOOL CALLBACK close_window(HWND window, LPARAM) {
  if (IsWindowVisible(window)) PostMessageW(window, WM_CLOSE, 0, 0);
  return TRUE;
}

BOOL CALLBACK find_visible(HWND window, LPARAM argument) {
  if (!IsWindowVisible(window)) return TRUE;
  *reinterpret_cast<HWND*>(argument) = window;
  return FALSE;
}

// With the lock held.
void ask_dialogs_to_close() {
  for (int slot = 0; slot < kDialogs; ++slot) {
    if (dialog_open[slot]) {
      EnumThreadWindows(dialog_thread[slot], &close_window, 0);
    }
  }
}

DWORD WINAPI dialog_entry(void* argument) {
  const HMODULE module = static_cast<DialogJob*>(argument)->module;
  {
    const std::unique_ptr<DialogJob> job(static_cast<DialogJob*>(argument));
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    run(job->work);
    if (SUCCEEDED(com)) CoUninitialize();
    const SrwLock::Scope scope(lock);
    dialog_open[job->slot] = false;
  }
  end();
  FreeLibraryAndExitThread(module, 0);
}

// With the lock held: the thread's id has to be known before anybody looks.
bool start_dialog(DialogJob* job) {
  DWORD id = 0;
  const HANDLE thread = CreateThread(nullptr, 0, &dialog_entry, job, 0, &id);
  if (!thread) {
    companion::debug_report(L"menus", L"a dialog", GetLastError());
    FreeLibrary(job->module);
    return false;
  }
  CloseHandle(thread);
  dialog_open[job->slot] = true;
  dialog_thread[job->slot] = id;
  ++count;
  return true;
}

// The visible window of the dialog, or null. With the lock held.
HWND dialog_window(int slot) {
  HWND window = nullptr;
  EnumThreadWindows(dialog_thread[slot], &find_visible,
                    reinterpret_cast<LPARAM>(&window));
  return window;
}

}  // namespace

void open() {
  const SrwLock::Scope scope(lock);
  closed = false;
}

void close() {
  const SrwLock::Scope scope(lock);
  closed = true;
  ask_dialogs_to_close();
}

bool run_task(Work work) {
  auto task = std::make_unique<Work>(std::move(work));
  if (!begin()) return false;
  if (submit(task.get())) {
    // The callback owns it now.
    static_cast<void>(task.release());
    return true;
  }
  end();
  return false;
}

bool open_dialog(Dialog dialog, Work work) {
  const int slot = static_cast<int>(dialog);
  HWND already_open = nullptr;
  {
    const SrwLock::Scope scope(lock);
    if (closed) return false;
    if (!dialog_open[slot]) {
      auto job = std::unique_ptr<DialogJob>(
          new DialogJob{slot, own_module(), std::move(work)});
      if (!start_dialog(job.get())) return false;
      static_cast<void>(job.release());
      return true;
    }
    already_open = dialog_window(slot);
  }
  // Activation sends messages, so not with the lock held.
  if (already_open) SetForegroundWindow(already_open);
  return true;
}

long running() {
  const SrwLock::Scope scope(lock);
  if (closed) ask_dialogs_to_close();
  return count;
}

}  // namespace velmenus::background
