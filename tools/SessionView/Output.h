// Text for whoever started the program from a console.
#ifndef VEL_TOOLS_SESSIONVIEW_OUTPUT_H_
#define VEL_TOOLS_SESSIONVIEW_OUTPUT_H_

#include <string>

namespace sessionview {

// Writes to the standard output if that is a file or a pipe, as UTF-8, else to
// the console that this process was started from. False with the last error
// when there is neither, or when writing fails.
bool print_text(const std::wstring& text);

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_OUTPUT_H_
