// The store that remembers where each downloaded file came from.
#ifndef VEL_PROPTREE_DWLSOURCES_H_
#define VEL_PROPTREE_DWLSOURCES_H_

#include <string>
#include <vector>

#include "proptree/VelPropNode.h"
#include "sync/ScopedHandle.h"

namespace vel {

// The store's file: below the product when that lies in the user's profile,
// else in the user's data directory. In the second case a file that an older
// version left below the product is copied over first. The last error is kept.
std::wstring DownloadedFilesPath();

// The store under the lock that all processes of the user's session share: one
// object for one operation, on one thread. What can't be read counts as empty;
// failures are logged.
class [[nodiscard]] DwlSources {
 public:
  // Waits for the lock without limit, and reads the file.
  [[nodiscard]] DwlSources();
  ~DwlSources();
  DwlSources(const DwlSources&) = delete;
  DwlSources& operator=(const DwlSources&) = delete;

  // Remembers or replaces the source of a file and writes the store. Paths are
  // compared without regard to case; the first spelling stays.
  void Add(const std::wstring& path, const std::wstring& source);
  // False, with `source_out` as it was, for a file that isn't known.
  bool Get(const std::wstring& path, std::wstring& source_out);
  void List(std::vector<std::wstring>& paths_out);

 private:
  const ScopedHandle _lock;
  const std::wstring _path;
  VelPropNode _tree;
};

// The operations with the path in its long form, for the system's other
// programs.
void AddDownloadSource(const std::wstring& file_path,
                       const std::wstring& source);
bool GetDownloadSource(const std::wstring& file_path, std::wstring& source_out);
void ListDownloadSources(std::vector<std::wstring>& paths_out);

// Deletes the store, without its lock: the records last for one run of the
// tray. A store that isn't there is no failure.
void DeleteDownloadSources();

}  // namespace vel

#endif  // VEL_PROPTREE_DWLSOURCES_H_
