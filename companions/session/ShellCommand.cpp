#include "session/ShellCommand.h"

#include <shlwapi.h>

#include <cwctype>

#include "session/CommandTemplate.h"
#include "session/InstalledBrowser.h"
#include "session/RegistryText.h"
#include "session/Shortcut.h"

namespace velul {
namespace {

constexpr wchar_t kUrlChoices[] =
    L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\";
constexpr wchar_t kAppPaths[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";

bool same(const std::wstring& a, const wchar_t* b) {
  return _wcsicmp(a.c_str(), b) == 0;
}

// The scheme of a URL, empty for a path: a drive's letter is no scheme.
std::wstring scheme_of(const std::wstring& file) {
  const std::size_t colon = file.find(L':');
  if (colon == std::wstring::npos || colon < 2) return {};
  for (std::size_t at = 0; at < colon; ++at) {
    if (!std::iswalnum(file[at]) && !std::wcschr(L"+-.", file[at])) return {};
  }
  return file.substr(0, colon);
}

// Empty when the URL names no path.
std::wstring path_of_file_url(const std::wstring& url) {
  wchar_t path[MAX_PATH];
  DWORD size = MAX_PATH;
  return SUCCEEDED(PathCreateFromUrlW(url.c_str(), path, &size, 0))
             ? std::wstring(path)
             : std::wstring();
}

// The template of `verb`, or of the class's default verb, for a class, an
// extension or a scheme. Empty when there is none.
std::wstring association(const std::wstring& name, const std::wstring& verb) {
  wchar_t command[2048];
  DWORD size = 2048;
  const HRESULT hr = AssocQueryStringW(
      ASSOCF_INIT_IGNOREUNKNOWN, ASSOCSTR_COMMAND, name.c_str(),
      verb.empty() ? nullptr : verb.c_str(), command, &size);
  return SUCCEEDED(hr) ? std::wstring(command) : std::wstring();
}

// The user's own choice goes before what the scheme itself registers.
std::wstring scheme_association(const std::wstring& scheme,
                                const std::wstring& verb) {
  const std::wstring chosen = registry_text(
      HKEY_CURRENT_USER, kUrlChoices + scheme + L"\\UserChoice", L"ProgId");
  std::wstring command;
  if (!chosen.empty()) command = association(chosen, verb);
  return command.empty() ? association(scheme, verb) : command;
}

bool exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Where the file is: as named, below the directory, on the search path, or
// among the registered programs. Empty when nowhere.
std::wstring find_file(const std::wstring& file,
                       const std::wstring& directory) {
  const bool relative = PathIsRelativeW(file.c_str()) != FALSE;
  if (relative && !directory.empty()) {
    std::wstring below = directory + L"\\" + file;
    if (exists(below)) return below;
  }
  if (!relative) return exists(file) ? file : std::wstring();
  wchar_t found[MAX_PATH];
  const DWORD size =
      SearchPathW(nullptr, file.c_str(), L".exe", MAX_PATH, found, nullptr);
  if (size > 0 && size < MAX_PATH) return found;
  for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    for (const wchar_t* const suffix : {L"", L".exe"}) {
      const std::wstring program =
          registry_text(hive, kAppPaths + file + suffix, nullptr);
      if (!program.empty()) return program_of(program);
    }
  }
  return {};
}

bool is_program(const std::wstring& extension) {
  return same(extension, L".exe") || same(extension, L".com") ||
         same(extension, L".bat") || same(extension, L".cmd");
}

ShellCommand failed(DWORD error) {
  return {error, {}, {}};
}

ShellCommand by_template(const std::wstring& command_template,
                         const ShellRequest& request) {
  if (command_template.empty()) return failed(ERROR_NO_ASSOCIATION);
  return {
      ERROR_SUCCESS,
      fill_command_template(command_template, {request.file, request.parameters,
                                               request.directory}),
      request.directory};
}

// A quote would end the argument that the URL becomes, and what follows would
// be arguments of its own.
std::wstring without_quotes(const std::wstring& url) {
  std::wstring safe;
  for (const wchar_t character : url) {
    if (character == L'"') {
      safe += L"%22";
    } else {
      safe += character;
    }
  }
  return safe;
}

ShellCommand resolve_url(ShellRequest request, const std::wstring& scheme) {
  request.file = without_quotes(request.file);
  std::wstring command = scheme_association(scheme, request.verb);
  if (passes_urls_to_the_product(command)) command = installed_browser();
  return by_template(command, request);
}

ShellCommand resolve_file(const ShellRequest& request) {
  const std::wstring extension = PathFindExtensionW(request.file.c_str());
  const bool opens = request.verb.empty() || same(request.verb, L"open");
  if (is_program(extension) && opens) {
    std::wstring command_line = quoted(request.file);
    if (!request.parameters.empty()) command_line += L" " + request.parameters;
    return {ERROR_SUCCESS, command_line, request.directory};
  }
  if (PathIsDirectoryW(request.file.c_str())) {
    return by_template(association(L"Directory", request.verb), request);
  }
  return by_template(association(extension, request.verb), request);
}

// Puts a link's target in the place of the link. What the request says itself
// goes before what the link says.
DWORD follow_shortcut(ShellRequest* request) {
  Shortcut shortcut;
  if (const DWORD error = read_shortcut(request->file, &shortcut)) return error;
  request->file = shortcut.file;
  if (request->parameters.empty()) request->parameters = shortcut.parameters;
  if (request->directory.empty()) request->directory = shortcut.directory;
  return ERROR_SUCCESS;
}

}  // namespace

ShellCommand resolve_shell_command(ShellRequest request) {
  if (same(request.verb, L"runas")) return failed(ERROR_NOT_SUPPORTED);
  if (request.file.empty()) return failed(ERROR_FILE_NOT_FOUND);
  if (!request.class_name.empty()) {
    return by_template(association(request.class_name, request.verb), request);
  }
  const std::wstring scheme = scheme_of(request.file);
  if (same(scheme, L"file")) {
    request.file = path_of_file_url(request.file);
  } else if (!scheme.empty()) {
    return resolve_url(request, scheme);
  }
  const std::wstring found = find_file(request.file, request.directory);
  if (found.empty()) return failed(ERROR_FILE_NOT_FOUND);
  request.file = found;
  if (same(PathFindExtensionW(found.c_str()), L".lnk")) {
    if (const DWORD error = follow_shortcut(&request)) return failed(error);
  }
  return resolve_file(request);
}

}  // namespace velul
