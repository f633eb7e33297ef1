#ifndef VEL_PROPTREE_VELPROPTREESTORE_H_
#define VEL_PROPTREE_VELPROPTREESTORE_H_

#include <string>

#include "proptree/VelPropNode.h"

namespace vel {

// A property tree in a file of its packed form. For one thread at a time;
// keeping other processes away from the file is the caller's. Failures are
// logged; the last error is that of the system's call that failed, and as it
// was where none did: the file's contents are bad, or memory ran out.
class VelPropTreeStore {
 public:
  // `root` isn't owned.
  explicit VelPropTreeStore(VelPropNode* root) : _root(root) {}

  // Adds what the file holds to the tree. After a failure the tree has what was
  // read until then.
  bool LoadPlain(const std::wstring& path);
  // Writes `path` + ".tmp" and puts it in the place of `path` when all was
  // written, so that a failure leaves the former file as it was. One that only
  // the close of the new file meets, with its last 64 KiB, isn't noticed; that
  // stays so.
  bool StorePlain(const std::wstring& path);

 private:
  static bool RenameTemp(const std::wstring& temp_path,
                         const std::wstring& path);

  VelPropNode* const _root;
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELPROPTREESTORE_H_
