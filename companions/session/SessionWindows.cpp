#include "session/SessionWindows.h"

#include "common/UniqueHandle.h"

namespace velul {
namespace {

struct Search {
  HANDLE job;
  int found;
};

bool is_in_job(HWND window, HANDLE job) {
  DWORD id = 0;
  GetWindowThreadProcessId(window, &id);
  const companion::UniqueHandle process(
      OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, id));
  BOOL inside = FALSE;
  return process && IsProcessInJob(process.get(), job, &inside) && inside;
}

BOOL CALLBACK close_one(HWND window, LPARAM argument) {
  auto& search = *reinterpret_cast<Search*>(argument);
  if (IsWindowVisible(window) && is_in_job(window, search.job) &&
      PostMessageW(window, WM_CLOSE, 0, 0)) {
    ++search.found;
  }
  return TRUE;
}

}  // namespace

int post_close_to_windows(HANDLE job) {
  Search search = {job, 0};
  EnumWindows(&close_one, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

}  // namespace velul
