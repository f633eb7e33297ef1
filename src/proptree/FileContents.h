#ifndef VEL_PROPTREE_FILECONTENTS_H_
#define VEL_PROPTREE_FILECONTENTS_H_

#include <string>

namespace vel {

// A whole file in memory as bytes, written back when it has changed.
//
// The file is written in place: a crash in the middle leaves a cut file. For
// files below 4 GiB. Belongs to one thread.
class FileContents {
 public:
  // With `load` the file is read at once; a file that can't be opened leaves no
  // bytes and nothing to write. Without it the file counts as changed, so that
  // the destructor creates or truncates it.
  FileContents(std::wstring path, bool load);
  // Saves; a failure goes unseen, so call Save() where it matters.
  virtual ~FileContents();
  FileContents(const FileContents&) = delete;
  FileContents& operator=(const FileContents&) = delete;

  // Replaces the bytes by the file's. True when the whole file was read; zeros
  // stand for what could not be. A file that can't be opened changes nothing;
  // the last error tells why.
  bool Load();
  // Writes the bytes if they have changed. True when nothing is left to write;
  // otherwise the last error tells why, and the bytes still count as changed.
  bool Save();

  const std::string& data() const { return _data; }
  // For changing the bytes: they count as changed from now on.
  std::string& edit();
  bool dirty() const { return _dirty; }
  const std::wstring& path() const { return _path; }

 private:
  bool _dirty = false;
  std::string _data;
  std::wstring _path;
};

}  // namespace vel

#endif  // VEL_PROPTREE_FILECONTENTS_H_
