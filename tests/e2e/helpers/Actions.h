// What the test plug-in does when a test sends GUI IPC command 6 with one of
// these numbers. It records "did <number> -> <hexadecimal result>" when done.
#ifndef VEL_TESTS_E2E_HELPERS_ACTIONS_H_
#define VEL_TESTS_E2E_HELPERS_ACTIONS_H_

namespace vel::test {

enum PluginAction : unsigned {
  kActionNeedNormal = 1,  // need_session(L"Normal")
  kActionNeedOther = 2,   // need_session(L"Other")
  kActionCloseAll = 3,    // close_session(nullptr, VEL_SHUTDOWN_USER)
  kActionCloseOther = 4,  // close_session(L"other", VEL_SHUTDOWN_USER)
  kActionRestart = 5,     // shutdown(VEL_SHUTDOWN_RESTART)
};

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HELPERS_ACTIONS_H_
