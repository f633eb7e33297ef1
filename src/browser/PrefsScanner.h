#ifndef VEL_BROWSER_PREFSSCANNER_H_
#define VEL_BROWSER_PREFSSCANNER_H_

#include <string>

#include "browser/PrefSink.h"

namespace vel {

// Gives `sink` each user_pref("name", value); of a preference file, in order.
// Whatever else the file holds is passed over byte by byte, and no input is an
// error: a damaged statement is lost, and with it those up to the next `);`.
//
//   - # and /* */ are comments, // isn't.
//   - Bytes ahead of a value don't count: -5 is 5. Nor do those behind it: 1.5
//     is 1. A number has 32 bits; one past them is 2147483647.
//   - A name is what stands before the quote with the comma: a\"b is b. An
//     empty one means the name of the statement before.
//   - A name ends at a NUL byte, and a string loses its NUL bytes.
//
// One scan runs at a time in the process, others wait: a sink that threads
// share needs no lock against this. A sink must not scan from within a call.
void scan_prefs(const std::string& text, PrefSink& sink);

}  // namespace vel

#endif  // VEL_BROWSER_PREFSSCANNER_H_
