// One library that stands for everything behind the tray: the session library,
// and plug-ins as many as plugins.txt has lines for it, each named by its
// parameters. All of them write what happens into one list, in order.
#ifndef VEL_TESTS_TRAY_FAKES_FAKEPRODUCT_H_
#define VEL_TESTS_TRAY_FAKES_FAKEPRODUCT_H_

#include <windows.h>

#include "vel/IVelPlugin.h"

// The lines:
//   <plug-in>: startup|query|shutdown <configuration>, broadcast <name> <a>,
//              popup, destroy
//   session <configuration>: start, shutdown, release,
//              app <verb>|<file>|<parameters>|<directory>|<class>
struct FakeProduct {
  static constexpr int kMaxLines = 256;
  static constexpr int kLineSize = 128;

  SRWLOCK lock;
  wchar_t lines[kMaxLines][kLineSize];
  int line_count;

  // The hosts of the plug-ins "a" and "b".
  IVelPluginHost* hosts[2];

  // What the plug-ins do, any of them null for nothing of interest. Called on
  // the tray's threads.
  void (*on_create)(IVelPluginHost* host, const wchar_t* plugin);
  bool (*refuses)(const wchar_t* plugin, const wchar_t* config,
                  std::uint32_t shutdown_type);
  bool (*on_broadcast)(const wchar_t* plugin, const wchar_t* name,
                       std::uintptr_t a, std::uintptr_t b);
};

using FakeProductFn = FakeProduct*();
inline constexpr char FAKE_PRODUCT_EXPORT[] = "FakeProduct_Record";

#endif  // VEL_TESTS_TRAY_FAKES_FAKEPRODUCT_H_
