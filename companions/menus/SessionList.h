// Which sessions there are, as the plug-in hears of them.
#ifndef VEL_COMPANIONS_MENUS_SESSIONLIST_H_
#define VEL_COMPANIONS_MENUS_SESSIONLIST_H_

#include <string>
#include <vector>

#include "common/SrwLock.h"
#include "vel/IVelSession.h"

namespace velmenus {

// A session counts from its start-up to its shutdown, also while one that has
// died is being brought back. The pointers only tell sessions apart: they are
// never called. May be used by several threads at once.
class SessionList {
 public:
  void started(const IVelSession* session, const std::wstring& configuration);
  void ended(const IVelSession* session);

  std::size_t count() const;
  // The names of the configurations with a session, in the order of starting.
  std::vector<std::wstring> configurations() const;

 private:
  struct Entry {
    const IVelSession* session;
    std::wstring configuration;
  };

  mutable companion::SrwLock _lock;
  std::vector<Entry> _entries;  // guarded by _lock
};

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_SESSIONLIST_H_
