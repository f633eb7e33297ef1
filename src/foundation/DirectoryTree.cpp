#include "foundation/DirectoryTree.h"

#include "foundation/FindHandle.h"
#include "foundation/PathParts.h"
#include "foundation/Text.h"

namespace vel {
namespace {

constexpr std::size_t kSuffixLength = 4;

bool has_suffix(const std::wstring& path, std::wstring_view suffix) {
  return path.size() > kSuffixLength &&
         EqualsNoCase(
             std::wstring_view(path).substr(path.size() - kSuffixLength),
             suffix);
}

// A directory that is a link has nothing of its own to delete. Other kinds of
// reparse points have.
bool is_link(const WIN32_FIND_DATAW& entry) {
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         IsReparseTagNameSurrogate(entry.dwReserved0);
}

bool delete_directory(const std::wstring& path, const FindScope& entry,
                      DeleteFilter& filter) {
  bool deleted = true;
  if (!is_link(entry.data())) deleted = delete_tree(path, filter);
  // With a filter that removes roots it may have gone already, which the
  // result then tells as a failure.
  return RemoveDirectoryW(path.c_str()) && deleted;
}

bool delete_entry(const std::wstring& dir, const FindScope& entry,
                  DeleteFilter& filter) {
  const std::wstring path = dir + L"\\" + entry.data().cFileName;
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  if (!filter.should_delete(entry.data())) return true;
  if (entry.is_directory() && !entry.is_dots()) {
    return delete_directory(path, entry, filter);
  }
  return DeleteFileW(path.c_str());
}

}  // namespace

void list_files(const std::wstring& dir, std::vector<std::wstring>& out,
                std::wstring_view suffix) {
  const std::wstring base = with_slash(dir);
  for (FindScope find(base + L"*"); find; find.next()) {
    if (find.is_dots()) continue;
    const std::wstring path = base + find.data().cFileName;
    if (suffix.empty() || (!find.is_directory() && has_suffix(path, suffix))) {
      out.push_back(path);
    }
    if (find.is_directory()) list_files(path, out, suffix);
  }
}

bool walk_directory(const std::wstring& dir, DirectoryVisitor& visitor) {
  for (FindScope find(dir + L"\\*"); find; find.next()) {
    if (find.is_dots()) continue;
    if (!visitor.visit(dir, find.data())) return false;
    if (find.is_directory() &&
        !walk_directory(dir + L"\\" + find.data().cFileName, visitor)) {
      return false;
    }
  }
  return true;
}

bool delete_tree(const std::wstring& dir, DeleteFilter& filter) {
  bool deleted = true;
  for (FindScope find(dir + L"\\*"); find; find.next()) {
    if (!delete_entry(dir, find, filter)) deleted = false;
  }
  if (filter.should_remove_root() && !RemoveDirectoryW(dir.c_str())) {
    deleted = false;
  }
  return deleted;
}

}  // namespace vel
