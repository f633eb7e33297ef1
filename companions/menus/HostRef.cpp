#include "menus/HostRef.h"

namespace velmenus {

using companion::SrwLock;

HostRef::Use::Use(HostRef& host) : _owner(host) {
  const SrwLock::Scope scope(_owner._lock);
  _host = _owner._host;
  if (_host) ++_owner._uses;
}

HostRef::Use::~Use() {
  if (!_host) return;
  const SrwLock::Scope scope(_owner._lock);
  if (--_owner._uses == 0) WakeAllConditionVariable(&_owner._unused);
}

void HostRef::close() {
  SrwLock::Scope scope(_lock);
  _host = nullptr;
  while (_uses > 0) scope.wait(&_unused);
}

}  // namespace velmenus
