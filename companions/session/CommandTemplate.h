// The command templates of file associations.
#ifndef VEL_COMPANIONS_SESSION_COMMANDTEMPLATE_H_
#define VEL_COMPANIONS_SESSION_COMMANDTEMPLATE_H_

#include <string>

namespace velul {

// What fills a template's places.
struct CommandArguments {
  std::wstring file;
  std::wstring parameters;
  std::wstring directory;
};

// Fills a template in. %1, %l, %d and %v, in either case, are the file; %* is
// the parameters; %w is the directory; %% is a percent sign. The other places
// of the shell, which need what only it has, become empty: digits from 2 on,
// %0, %h, %i and %s. A percent sign before anything else stays, since a file's
// name may be spelled out in a template. A template without a place for the
// file gets it in quotes at its end.
std::wstring fill_command_template(const std::wstring& command_template,
                                   const CommandArguments& arguments);

// The program of a command line: its first word, or what its first quotes
// enclose.
std::wstring program_of(const std::wstring& command_line);

// `text` in quotes.
std::wstring quoted(const std::wstring& text);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_COMMANDTEMPLATE_H_
