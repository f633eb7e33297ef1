// Which version of the program last ran for this user, and what of that
// version's files is to be swept away.
#ifndef VEL_PROCESS_VERSIONMARKER_H_
#define VEL_PROCESS_VERSIONMARKER_H_

#include <windows.h>

#include <cstdint>
#include <string>

#include "foundation/DirectoryTree.h"
#include "proptree/FileContents.h"

namespace vel {

// The marker is a file that holds the version's text in 8-bit characters, with
// no line end. As a filter of delete_tree the object lets all go once the
// version has changed; with the same version the directories and what is newer
// than the marker go, since a run that wrote it was never finished.
//
// Commit may be called on any thread, by one at a time; the rest belongs to the
// thread that made the object.
class VersionMarker : public DeleteFilter {
 public:
  // `current` is the version of the running program. Reads the file at `path`;
  // one that isn't there counts as another version.
  VersionMarker(std::wstring current, const std::wstring& path);

  bool should_delete(const WIN32_FIND_DATAW& find_data) override;
  // The directory that was swept stays.
  bool should_remove_root() override;

  const std::wstring& current() const { return _current; }
  // Whether the file holds another version than the running one.
  bool changed() const { return _changed; }

  // Writes the current version to the file, making its directory if need be.
  // False when the file can't be written; the last error tells why.
  bool Commit();

 private:
  std::wstring _current;
  std::wstring _saved;
  // The file's last-write time at construction, 0 if it couldn't be opened.
  std::uint64_t _saved_time = 0;
  bool _changed = false;
  FileContents _file;
};

}  // namespace vel

#endif  // VEL_PROCESS_VERSIONMARKER_H_
