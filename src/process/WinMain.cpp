#include <windows.h>

#include "process/VELGUI.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, LPWSTR, int) {
  return vel::vel_entry(instance);
}
