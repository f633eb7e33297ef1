#include "menus/SessionList.h"

namespace velmenus {

using companion::SrwLock;

void SessionList::started(const IVelSession* session,
                          const std::wstring& configuration) {
  const SrwLock::Scope scope(_lock);
  _entries.push_back({session, configuration});
}

void SessionList::ended(const IVelSession* session) {
  const SrwLock::Scope scope(_lock);
  std::erase_if(_entries, [session](const Entry& each) {
    return each.session == session;
  });
}

std::size_t SessionList::count() const {
  const SrwLock::Scope scope(_lock);
  return _entries.size();
}

std::vector<std::wstring> SessionList::configurations() const {
  const SrwLock::Scope scope(_lock);
  std::vector<std::wstring> result;
  for (const Entry& each : _entries) result.push_back(each.configuration);
  return result;
}

}  // namespace velmenus
