#include "swlcat/Inputs.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>

namespace swlcat {
namespace {

constexpr wchar_t kLog[] = L".swl";
constexpr wchar_t kOldLog[] = L".swl.old";

bool ends_with(const std::wstring& name, const wchar_t* end) {
  const std::size_t length = std::wcslen(end);
  return name.size() >= length &&
         _wcsicmp(name.c_str() + name.size() - length, end) == 0;
}

bool is_log(const std::wstring& name) {
  return ends_with(name, kLog) || ends_with(name, kOldLog);
}

bool is_folder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The part of a path that a name in the same folder goes after.
std::size_t folder_length(const std::wstring& path) {
  return path.find_last_of(L"\\/:") + 1;
}

// The files that `pattern` fits.
std::vector<std::wstring> find_files(const std::wstring& pattern) {
  std::vector<std::wstring> files;
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return files;
  const std::wstring folder = pattern.substr(0, folder_length(pattern));
  do {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      files.push_back(folder + found.cFileName);
    }
  } while (FindNextFileW(search, &found));
  FindClose(search);
  return files;
}

std::vector<std::wstring> find_logs(std::wstring folder) {
  if (folder_length(folder) != folder.size()) folder += L'\\';
  std::vector<std::wstring> files = find_files(folder + L"*");
  std::erase_if(files, [](const std::wstring& file) { return !is_log(file); });
  return files;
}

// By name, an older file ahead of its successor.
bool comes_first(const std::wstring& left, const std::wstring& right) {
  const auto key = [](const std::wstring& file) {
    const bool is_old = ends_with(file, kOldLog);
    return std::pair(file.substr(0, file.size() - (is_old ? 4 : 0)), !is_old);
  };
  return key(left) < key(right);
}

}  // namespace

std::vector<std::wstring> list_inputs(const std::vector<std::wstring>& names,
                                      Problems& problems) {
  std::vector<std::wstring> inputs;
  for (const std::wstring& name : names) {
    const bool is_pattern =
        name.find_first_of(L"*?", folder_length(name)) != std::wstring::npos;
    if (!is_pattern && !is_folder(name)) {
      inputs.push_back(name);
      continue;
    }
    std::vector<std::wstring> found =
        is_pattern ? find_files(name) : find_logs(name);
    if (found.empty()) {
      problems.file(name, is_pattern ? L"fits no file" : L"holds no log");
    }
    std::sort(found.begin(), found.end(), comes_first);
    inputs.insert(inputs.end(), found.begin(), found.end());
  }
  return inputs;
}

}  // namespace swlcat
