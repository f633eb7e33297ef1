// A dialog library that keeps a record of what the tray does with the menu.
#ifndef VEL_TESTS_TRAY_FAKES_FAKEDIALOGS_H_
#define VEL_TESTS_TRAY_FAKES_FAKEDIALOGS_H_

#include <windows.h>

#include "vel/IVelDialogFactory.h"

struct FakeMenuItem {
  std::uint32_t parent;
  std::uint32_t type;
  std::uint32_t id;
  wchar_t text[64];
  IVelMenuItemHandler* handler;
  bool flag;
};

// The record, and what the menu is to do while it shows. Written on the tray's
// window thread; the counters are changed last.
struct FakeMenuRecord {
  volatile LONG made;
  volatile LONG released;
  volatile LONG cleared;
  volatile LONG shown;
  volatile LONG defaults;
  POINT point;
  HWND owner;
  DWORD thread;
  std::uint32_t default_type;
  FakeMenuItem items[16];
  volatile LONG item_count;
  // Called inside show_at, before `shown` is counted; may be null.
  void (*on_show)(FakeMenuRecord* record);
};

using FakeMenuRecordFn = FakeMenuRecord*();
inline constexpr char FAKE_MENU_RECORD_EXPORT[] = "FakeDialogs_Record";

#endif  // VEL_TESTS_TRAY_FAKES_FAKEDIALOGS_H_
