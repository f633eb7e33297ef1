// The files that the arguments stand for.
#ifndef VEL_TOOLS_SWLCAT_INPUTS_H_
#define VEL_TOOLS_SWLCAT_INPUTS_H_

#include <string>
#include <vector>

#include "swlcat/Problems.h"

namespace swlcat {

// A folder stands for the logs in it (.swl and .swl.old), a last component with
// `*` or `?` for the files that it fits; all else stays as it is. An older file
// comes ahead of its successor. What stands for no file is told to `problems`.
std::vector<std::wstring> list_inputs(const std::vector<std::wstring>& names,
                                      Problems& problems);

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_INPUTS_H_
