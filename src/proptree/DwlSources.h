// The store that remembers where each downloaded file came from.
#ifndef VEL_PROPTREE_DWLSOURCES_H_
#define VEL_PROPTREE_DWLSOURCES_H_

#include <string>

namespace vel {

// The store's file: below the product when that lies in the user's profile,
// else in the user's data directory. In the second case a file that an older
// version left below the product is copied over first.
std::wstring DownloadedFilesPath();

// Deletes the store, without its lock: the records last for one run of the
// tray. A store that isn't there is no failure.
void DeleteDownloadSources();

}  // namespace vel

#endif  // VEL_PROPTREE_DWLSOURCES_H_
