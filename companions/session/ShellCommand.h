// What a shell-execute comes down to: the command line that it starts.
#ifndef VEL_COMPANIONS_SESSION_SHELLCOMMAND_H_
#define VEL_COMPANIONS_SESSION_SHELLCOMMAND_H_

#include <windows.h>

#include <string>

namespace velul {

// The fields of a shell-execute, each of which may be empty.
struct ShellRequest {
  std::wstring verb;
  std::wstring file;  // a path, a bare program name or a URL
  std::wstring parameters;
  std::wstring directory;
  std::wstring class_name;  // a class of the registry, instead of the file's
};

struct ShellCommand {
  DWORD error = ERROR_SUCCESS;
  std::wstring command_line;
  std::wstring directory;
};

// Finds the command line by the user's associations, as the shell would.
//   ERROR_FILE_NOT_FOUND   there is no such file, or none was named
//   ERROR_NO_ASSOCIATION   the class has no command line for the verb, which
//                          is also so for those that only start by COM
//   ERROR_NOT_SUPPORTED    "runas": a session gives no rights away
// A URL whose handler is the product itself goes to another browser.
ShellCommand resolve_shell_command(ShellRequest request);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_SHELLCOMMAND_H_
