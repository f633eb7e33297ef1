/* VELKL.sys, the driver that the service depends on. It loads and unloads;
   nothing in the system is filtered, hooked or watched. */
#include <ntddk.h>

static void NTAPI unload(DRIVER_OBJECT* driver) {
  (void)driver;
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver,
                           UNICODE_STRING* registry_path) {
  (void)registry_path;
  driver->DriverUnload = unload;
  return STATUS_SUCCESS;
}
