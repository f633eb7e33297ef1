// What a helper library of these tests has seen, one line per event, in the
// file "<library>.log" beside the library. The test reads it with
// vel::test::ReadEvents.
#ifndef VEL_TESTS_E2E_HELPERS_EVENTLINES_H_
#define VEL_TESTS_E2E_HELPERS_EVENTLINES_H_

#include <string>

namespace vel::test {

// "<tick count> <text>", appended in one piece; from any thread.
void EventLine(const wchar_t* format, ...);

// The path of this library with `suffix` behind it.
std::wstring BesideThisLibrary(const wchar_t* suffix);

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HELPERS_EVENTLINES_H_
