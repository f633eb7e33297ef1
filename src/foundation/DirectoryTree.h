// Walking directories and removing them. `dir` has no slash at its end, except
// for list_files, which takes both. A directory that can't be searched counts
// as empty. No state, any thread.
#ifndef VEL_FOUNDATION_DIRECTORYTREE_H_
#define VEL_FOUNDATION_DIRECTORYTREE_H_

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace vel {

// Sees what walk_directory comes across.
class DirectoryVisitor {
 public:
  virtual ~DirectoryVisitor() = default;
  // `directory` is the one that holds the entry, without a slash. False ends
  // the walk.
  virtual bool visit(const std::wstring& directory,
                     const WIN32_FIND_DATAW& find_data) = 0;
};

// Decides what delete_tree removes.
class DeleteFilter {
 public:
  virtual ~DeleteFilter() = default;
  // Whether the entry goes. Asked of `.` and `..` too.
  virtual bool should_delete(const WIN32_FIND_DATAW& find_data) = 0;
  // Whether the directory itself goes when its entries have been dealt with.
  virtual bool should_remove_root() = 0;
};

// Appends the paths of everything below `dir` to `out`, a directory in front of
// its content. `suffix` is empty for all, or an extension of exactly four
// characters such as L".exe": then only files that end in it count, whatever
// their case.
void list_files(const std::wstring& dir, std::vector<std::wstring>& out,
                std::wstring_view suffix = {});

// Shows the visitor every entry below `dir` but `.` and `..`, a directory
// before its content. False when the visitor ended the walk.
bool walk_directory(const std::wstring& dir, DirectoryVisitor& visitor);

// Removes what is below `dir`, read-only files too, as far as the filter
// agrees. Every entry's attributes are reset first, also those of entries that
// stay. A link to another directory is removed as such, its target is left
// alone. The same filter is asked at every level.
//
// The result is true when nothing failed. Deleting `.` and `..` is tried like
// the rest and fails, so a filter that accepts them gives false.
bool delete_tree(const std::wstring& dir, DeleteFilter& filter);

}  // namespace vel

#endif  // VEL_FOUNDATION_DIRECTORYTREE_H_
