// A reader of INI files: [section] lines and key=value lines in the system's
// ANSI code page. Names and keys are case-sensitive and aren't trimmed. Lines
// that begin with ; or # and lines before the first section are passed over.
#ifndef VEL_PROPTREE_VELINIFILE_H_
#define VEL_PROPTREE_VELINIFILE_H_

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sync/ThreadAnnotations.h"
#include "sync/VelRWLock.h"

namespace vel {

class VelIniSection {
 public:
  explicit VelIniSection(std::wstring name = {});
  virtual ~VelIniSection() = default;

  // The text between the brackets.
  const std::wstring& Name() const { return _name; }
  bool HasKey(const std::wstring& key) const;
  std::wstring GetValue(const std::wstring& key,
                        const std::wstring& default_value) const;

 private:
  friend class VelIniFile;

  std::map<std::wstring, std::wstring> _values;
  std::wstring _name;
};

using VelIniSectionPtr = std::shared_ptr<VelIniSection>;

// The file is read and parsed once, by the first query. A file that can't be
// read is one without sections. The sections handed out are never changed
// afterwards. Any thread.
class VelIniFile {
 public:
  explicit VelIniFile(std::wstring path);
  VelIniFile(const VelIniFile&) = delete;
  VelIniFile& operator=(const VelIniFile&) = delete;

  // All sections in the order of the file, a name that occurs twice twice.
  void GetSections(std::list<VelIniSectionPtr>& out);
  void GetSectionNames(std::vector<std::wstring>& out);
  // Of several sections of one name the last answers; an unknown one is empty.
  void GetKeys(const std::wstring& section, std::vector<std::wstring>& out);
  void GetValue(const std::wstring& section, const std::wstring& key,
                std::wstring& out);
  // A copy, the caller's own.
  VelIniSectionPtr GetSection(const std::wstring& section);

 private:
  void ensure_loaded();
  void parse(std::wstring_view text) VEL_REQUIRES(_lock);
  void parse_line(std::wstring_view line) VEL_REQUIRES(_lock);
  const VelIniSection& find_section(const std::wstring& name) const
      VEL_REQUIRES_SHARED(_lock);

  const std::wstring _path;
  std::atomic<bool> _loaded = false;
  std::map<std::wstring, VelIniSectionPtr> _by_name VEL_GUARDED_BY(_lock);
  std::list<VelIniSectionPtr> _sections VEL_GUARDED_BY(_lock);
  VelRWLock _lock;
  const VelIniSection _empty_section;
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELINIFILE_H_
