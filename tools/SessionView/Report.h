// All that SessionView tells, as window and console show it.
#ifndef VEL_TOOLS_SESSIONVIEW_REPORT_H_
#define VEL_TOOLS_SESSIONVIEW_REPORT_H_

#include <string>
#include <vector>

namespace sessionview {

// Looks at this process. `opened_with` as in Options.
std::wstring make_report(const std::vector<std::wstring>& opened_with);

// The configuration of the session, empty outside of one.
std::wstring configuration();

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_REPORT_H_
