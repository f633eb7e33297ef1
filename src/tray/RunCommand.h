// A run command: a command line that makes the tray open something in a
// session.
#ifndef VEL_TRAY_RUNCOMMAND_H_
#define VEL_TRAY_RUNCOMMAND_H_

#include <string>

namespace vel {

// The fields of the shell-execute call that is to be repeated in a session.
struct RunCommand {
  // The session's configuration; never empty after parse_runcmd.
  std::wstring config;
  std::wstring verb;
  std::wstring file;
  std::wstring directory;
  std::wstring parameters;
  std::wstring class_name;
  // Whether there is something to start. The other fields don't count
  // without it.
  bool has_action = false;
};

// Reads the shex_* arguments of a whole command line, or, when they name no
// action, a URL in it: the first of http, else of https, else of ftp. Then
// fills in the default configuration and tidies up the parameters, in which an
// association repeats the file's name. Asks the file system for the long and
// short form of the file's name.
RunCommand parse_runcmd(const std::wstring& cmd_line);

}  // namespace vel

#endif  // VEL_TRAY_RUNCOMMAND_H_
