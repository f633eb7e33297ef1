// Ends a test program that hangs, after printing where each thread stands.
#ifndef VEL_TESTS_SUPPORT_WATCHDOG_H_
#define VEL_TESTS_SUPPORT_WATCHDOG_H_

namespace vel::test {

// One test may take `seconds`; each start of a test begins the time anew.
void StartWatchdog(unsigned seconds);
void FeedWatchdog();

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_WATCHDOG_H_
